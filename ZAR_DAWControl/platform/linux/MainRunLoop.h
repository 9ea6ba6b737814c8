#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/platform/Clock.h"
#include "ZAR_DAWControl/platform/RunLoop.h"

namespace zar::native {

/// The main run loop of a process. The thread that constructs it is the main thread; only that
/// thread may run it. All waiting goes through the given clock, so with a virtual clock timers
/// fire as virtual time jumps from one fire date to the next.
///
/// Timers behave as the host platform's repeating timers: the first fire comes one interval after
/// scheduling, later fire dates keep to that grid and dates already past are skipped rather than
/// fired in a burst. A timer is not fired again while its own callback runs (for instance while it
/// shows a modal alert that runs the loop nested). A fire that has already begun when another
/// thread invalidates the timer completes.
///
/// `stop()` while no run is in progress makes the next `run` or `runFor` return at once, so a
/// thread that asks the loop to stop cannot lose the request to a loop that has not started yet.
class MainRunLoop final : public platform::RunLoop {
 public:
  explicit MainRunLoop(std::shared_ptr<platform::Clock> clock);
  ~MainRunLoop() override;
  MainRunLoop(const MainRunLoop&) = delete;
  MainRunLoop& operator=(const MainRunLoop&) = delete;

  /// An interval that is not positive (or not a number) becomes 0.1 ms; an infinite one never
  /// fires.
  platform::TimerRef scheduleRepeatingTimer(double interval, std::function<void()> fire) override;
  /// Empty work is ignored.
  void perform(std::function<void()> work) override;
  bool isMainThread() const override;
  /// Called off the main thread, logs an error and returns at once.
  void run() override;
  /// Zero, negative or not-a-number seconds run one pass over what is already due; an infinite
  /// time runs until `stop`. Called off the main thread, logs an error and returns at once.
  void runFor(double seconds) override;
  void stop() override;

  /// How many timers are scheduled and valid (for diagnostics: a timer left behind shows here).
  std::size_t validTimerCount() const;

 private:
  class RepeatingTimer;
  struct RunFrame {
    bool stopped = false;
  };

  void runUntil(double deadline);
  /// Runs the work queued before the call, in order and with the lock released, until the frame
  /// is stopped.
  void performQueuedWork(std::unique_lock<std::mutex>& lock, const RunFrame& frame);
  /// Fires every timer due now, earliest first, with the lock released around each callback.
  void fireDueTimers(std::unique_lock<std::mutex>& lock, const RunFrame& frame);
  /// The earliest fire date of a timer that can fire, or `distantFuture`.
  double nextFireDate() const;
  void dropInvalidTimers();

  const std::shared_ptr<platform::Clock> _clock;
  const std::thread::id _mainThread;

  mutable std::mutex _mutex;
  std::condition_variable _wakeUp;
  std::deque<std::function<void()>> _queue;
  std::vector<std::shared_ptr<RepeatingTimer>> _timers;
  std::vector<RunFrame*> _frames;
  bool _stopPending = false;
};

}  // namespace zar::native
