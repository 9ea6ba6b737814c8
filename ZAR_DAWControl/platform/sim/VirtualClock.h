#pragma once

#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/platform/Clock.h"

namespace zar::sim {

/// Virtual time. Sleeps return at once, move time forward and are recorded; waits for a finite
/// deadline jump there. Time never moves by itself.
class VirtualClock final : public platform::Clock {
 public:
  struct Sleep {
    double start = 0;
    double duration = 0;
    std::thread::id thread;
  };

  explicit VirtualClock(double start = 1000.0) : _now(start) {}

  double now() const override;
  /// Settles, then moves time on by `seconds`.
  void sleep(double seconds) override;
  void waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double deadline) override;

  /// Runs the settle hook.
  void settle() override;
  /// What `settle` runs, so that what the simulated world still has in flight (MIDI on the
  /// loopback, say) happens at the current time before a waiter lets time jump.
  void setSettleHook(std::function<void()> settle);

  /// Moves time forward (never backward) to `time`.
  void advanceTo(double time);
  void advanceBy(double seconds) { advanceTo(now() + seconds); }
  /// Every sleep so far, in order.
  std::vector<Sleep> sleeps() const;
  void clearSleeps();

 private:
  mutable std::mutex _mutex;
  double _now;
  std::vector<Sleep> _sleeps;
  std::function<void()> _settle;
};

}  // namespace zar::sim
