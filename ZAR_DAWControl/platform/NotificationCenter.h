#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace zar::platform {

struct Notification {
  std::string name;
  /// The posting object, if any (for example the host's cue whose timing changed).
  std::any object;
};

/// The default notification center: observers by name, delivery synchronous on the posting thread.
class NotificationCenter {
 public:
  using ObserverId = std::uint64_t;
  using Callback = std::function<void(const Notification&)>;

  virtual ~NotificationCenter() = default;
  /// Observes notifications of that name, or of every name when `name` is empty.
  virtual ObserverId addObserver(std::optional<std::string> name, Callback callback) = 0;
  /// After this returns the callback is not running on any other thread and is never called again.
  /// May be called from inside the callback itself.
  virtual void removeObserver(ObserverId id) = 0;
  /// Delivers to every matching observer on the calling thread, in the order they were added.
  virtual void post(const std::string& name, std::any object = {}) = 0;
};

}  // namespace zar::platform
