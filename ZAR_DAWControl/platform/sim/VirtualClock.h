#pragma once

#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/platform/Clock.h"

namespace zar::sim {

/// Virtual time. Sleeps return at once, move time forward and are recorded; waits for a finite
/// deadline jump there. Time never moves by itself.
///
/// Background waiters (`makeBackgroundWaiter`) never move time, so only the threads that drive it
/// (the run loop's waits, sleeps, `advanceTo`) do, and a run in virtual time comes out the same
/// every time. Time never jumps past a background deadline: `waitUntil` moves at most to the next
/// one and returns, so that its caller settles; `sleep` and `advanceTo` go from one to the next
/// and settle at each. `settle` also waits until every background waiter woken has done its work
/// and waits again.
class VirtualClock final : public platform::Clock {
 public:
  struct Sleep {
    double start = 0;
    double duration = 0;
    std::thread::id thread;
  };

  /// The wall clock of virtual time at time 0: 2026-01-01 00:00:00 UTC.
  static constexpr double kWallClockAtZero = 1767225600.0;

  explicit VirtualClock(double start = 1000.0) : _now(start) {}

  double now() const override;
  /// `kWallClockAtZero` + `now()`, so that wall-clock times come out the same at every run.
  double secondsSince1970() const override { return kWallClockAtZero + now(); }
  /// Settles, then moves time on by `seconds`.
  void sleep(double seconds) override;
  void waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double deadline) override;

  /// Runs the settle hook, and waits for the background waiters woken (again while they wake).
  void settle() override;
  /// What `settle` runs, so that what the simulated world still has in flight (MIDI on the
  /// loopback, say) happens at the current time before a waiter lets time jump.
  void setSettleHook(std::function<void()> settle);
  std::unique_ptr<BackgroundWaiter> makeBackgroundWaiter() override;

  /// Moves time forward (never backward) to `time`.
  void advanceTo(double time);
  void advanceBy(double seconds) { advanceTo(now() + seconds); }
  /// Every sleep so far, in order.
  std::vector<Sleep> sleeps() const;
  void clearSleeps();

 private:
  class Waiter;
  /// A background waiter as time sees it: busy from the moment it is woken (or made) until it
  /// waits again.
  struct Background {
    double deadline = distantFuture;
    bool busy = true;
    bool woken = false;
  };

  double nextBackgroundDeadlineLocked() const;
  bool backgroundBusyLocked() const;
  /// Moves time to `time` and wakes the background waiters due then; true when it woke one.
  bool moveLocked(double time);
  /// Moves time to `time` through every background deadline before it, settling at each.
  void moveThrough(double time);

  mutable std::mutex _mutex;
  std::condition_variable _changed;  // a background waiter waits, is woken or goes
  double _now;
  std::vector<Sleep> _sleeps;
  std::function<void()> _settle;
  std::vector<Background*> _background;
};

}  // namespace zar::sim
