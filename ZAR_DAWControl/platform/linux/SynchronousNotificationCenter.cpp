#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace zar::native {

struct SynchronousNotificationCenter::Observer {
  ObserverId id = 0;
  /// Nothing: every name.
  std::optional<std::string> name;
  Callback callback;
  bool removed = false;
  /// The threads now inside the callback, once per call (a callback may post again).
  std::vector<std::thread::id> runningOn;
};

SynchronousNotificationCenter::~SynchronousNotificationCenter() = default;

SynchronousNotificationCenter::ObserverId SynchronousNotificationCenter::addObserver(std::optional<std::string> name,
                                                                                    Callback callback) {
  const std::lock_guard lock(_mutex);
  const ObserverId id = _nextId++;
  if (!callback) {
    return id;  // nothing to call: the observation exists in name only and its removal is a no-op
  }
  auto observer = std::make_shared<Observer>();
  observer->id = id;
  if (name && !name->empty()) {
    observer->name = std::move(name);
  }
  observer->callback = std::move(callback);
  _observers.push_back(std::move(observer));
  return id;
}

void SynchronousNotificationCenter::removeObserver(ObserverId id) {
  Callback dropped;
  {
    std::unique_lock lock(_mutex);
    const auto found = std::find_if(_observers.begin(), _observers.end(),
                                    [id](const std::shared_ptr<Observer>& observer) { return observer->id == id; });
    if (found == _observers.end()) {
      return;
    }
    const std::shared_ptr<Observer> observer = *found;
    _observers.erase(found);
    observer->removed = true;
    const auto self = std::this_thread::get_id();
    _callFinished.wait(lock, [&] {
      return std::all_of(observer->runningOn.begin(), observer->runningOn.end(),
                         [self](std::thread::id thread) { return thread == self; });
    });
    if (observer->runningOn.empty()) {
      dropped = std::move(observer->callback);
    }
  }
  // What the callback captured is released here, outside the lock, so its destructors may use
  // the center.
}

void SynchronousNotificationCenter::post(const std::string& name, std::any object) {
  std::vector<std::shared_ptr<Observer>> recipients;
  {
    const std::lock_guard lock(_mutex);
    for (const auto& observer : _observers) {
      if (!observer->name || *observer->name == name) {
        recipients.push_back(observer);
      }
    }
  }
  const platform::Notification notification{name, std::move(object)};
  for (const auto& observer : recipients) {
    {
      const std::lock_guard lock(_mutex);
      if (observer->removed) {
        continue;
      }
      observer->runningOn.push_back(std::this_thread::get_id());
    }
    struct CallScope {
      SynchronousNotificationCenter& center;
      Observer& observer;
      ~CallScope() { center.finishCall(observer); }
    } scope{*this, *observer};
    observer->callback(notification);
  }
}

void SynchronousNotificationCenter::finishCall(Observer& observer) {
  Callback dropped;
  {
    const std::lock_guard lock(_mutex);
    const auto self = std::find(observer.runningOn.begin(), observer.runningOn.end(), std::this_thread::get_id());
    if (self != observer.runningOn.end()) {
      observer.runningOn.erase(self);
    }
    if (observer.removed && observer.runningOn.empty()) {
      dropped = std::move(observer.callback);
    }
  }
  _callFinished.notify_all();
}

std::size_t SynchronousNotificationCenter::observerCount() {
  std::lock_guard lock(_mutex);
  return static_cast<std::size_t>(
      std::count_if(_observers.begin(), _observers.end(), [](const auto& observer) { return !observer->removed; }));
}

}  // namespace zar::native
