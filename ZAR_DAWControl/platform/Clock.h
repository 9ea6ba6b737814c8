#pragma once

#include <condition_variable>
#include <limits>
#include <mutex>

namespace zar::platform {

/// Monotonic time in seconds and sleeping; every wait in the framework goes through it, so a
/// virtual clock can run timers and pauses without real waiting.
class Clock {
 public:
  static constexpr double distantFuture = std::numeric_limits<double>::infinity();

  virtual ~Clock() = default;
  /// Seconds on a monotonic clock (the media clock of the original; also the event time stamp).
  virtual double now() const = 0;
  /// Blocks the calling thread for the given seconds.
  virtual void sleep(double seconds) = 0;
  /// Waits on `cv` (with `lock` held) until it is notified or `deadline` (clock time) has come.
  /// A virtual clock does not wait for a finite deadline: time jumps there at once.
  virtual void waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double deadline) = 0;
  /// Lets what is still in flight (MIDI on a simulated loopback, say) happen at the current time.
  /// A waiter calls it, without holding locks the world needs, before it works out how long to
  /// wait: what settling schedules then counts. A real clock has nothing to do.
  virtual void settle() {}
};

}  // namespace zar::platform
