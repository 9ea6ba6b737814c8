#include "ZAR_DAWControl/platform/NotificationObservation.h"

#include <utility>

namespace zar::platform {

NotificationObservation::NotificationObservation(std::shared_ptr<NotificationCenter> center,
                                                 std::optional<std::string> name,
                                                 NotificationCenter::Callback callback)
    : _center(std::move(center)) {
  if (_center) {
    _id = _center->addObserver(std::move(name), std::move(callback));
  }
}

NotificationObservation::NotificationObservation(NotificationObservation&& other) noexcept
    : _center(std::exchange(other._center, nullptr)), _id(other._id) {}

NotificationObservation& NotificationObservation::operator=(NotificationObservation&& other) noexcept {
  if (this != &other) {
    reset();
    _center = std::exchange(other._center, nullptr);
    _id = other._id;
  }
  return *this;
}

NotificationObservation::~NotificationObservation() { reset(); }

void NotificationObservation::reset() {
  if (auto center = std::exchange(_center, nullptr)) {
    center->removeObserver(_id);
  }
}

}  // namespace zar::platform
