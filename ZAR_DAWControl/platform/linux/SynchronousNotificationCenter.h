#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/NotificationCenter.h"

namespace zar::native {

/// Delivers each notification on the posting thread, to the observers in the order they were
/// added. A post delivers to the observers present when it starts: one added meanwhile first hears
/// the next post, one removed meanwhile hears nothing more. `removeObserver` waits for calls of
/// that observer running on other threads; called from inside the observer's own callback it
/// returns at once (the running call finishes normally).
class SynchronousNotificationCenter final : public platform::NotificationCenter {
 public:
  SynchronousNotificationCenter() = default;
  ~SynchronousNotificationCenter() override;
  SynchronousNotificationCenter(const SynchronousNotificationCenter&) = delete;
  SynchronousNotificationCenter& operator=(const SynchronousNotificationCenter&) = delete;

  ObserverId addObserver(std::optional<std::string> name, Callback callback) override;
  void removeObserver(ObserverId id) override;
  void post(const std::string& name, std::any object = {}) override;

  /// How many observers are registered (for diagnostics: an observation left behind shows here).
  std::size_t observerCount();

 private:
  struct Observer;

  /// Ends a call of `observer` started by `post`, and drops its callback when it was the last one
  /// of a removed observer.
  void finishCall(Observer& observer);

  std::mutex _mutex;
  std::condition_variable _callFinished;
  std::vector<std::shared_ptr<Observer>> _observers;
  ObserverId _nextId = 1;
};

}  // namespace zar::native
