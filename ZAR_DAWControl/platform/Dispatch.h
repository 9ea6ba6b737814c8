#pragma once

#include <functional>

namespace zar::platform {

/// Handing work to other threads. One-time initialisation uses the standard library
/// (std::call_once, function-local statics) and needs no service.
class Dispatch {
 public:
  virtual ~Dispatch() = default;
  /// Runs work on the global concurrent queue of default priority and returns at once.
  virtual void async(std::function<void()> work) = 0;
  /// Runs work on the main thread: at once when called there, otherwise queued on the main run
  /// loop without waiting for it (a waiting caller could deadlock against a busy main thread).
  virtual void onMainThread(std::function<void()> work) = 0;
};

}  // namespace zar::platform
