#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ZAR_DAWControl/platform/NotificationCenter.h"

namespace zar::platform {

/// Owns one observation and ends it when destroyed or reset.
class NotificationObservation {
 public:
  NotificationObservation() = default;
  NotificationObservation(std::shared_ptr<NotificationCenter> center, std::optional<std::string> name,
                          NotificationCenter::Callback callback);
  NotificationObservation(NotificationObservation&& other) noexcept;
  NotificationObservation& operator=(NotificationObservation&& other) noexcept;
  NotificationObservation(const NotificationObservation&) = delete;
  NotificationObservation& operator=(const NotificationObservation&) = delete;
  ~NotificationObservation();

  void reset();
  bool active() const { return _center != nullptr; }

 private:
  std::shared_ptr<NotificationCenter> _center;
  NotificationCenter::ObserverId _id = 0;
};

}  // namespace zar::platform
