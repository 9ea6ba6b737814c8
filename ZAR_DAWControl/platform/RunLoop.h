#pragma once

#include <functional>
#include <memory>

namespace zar::platform {

/// A repeating timer scheduled on the main run loop. The run loop keeps it until it is invalidated.
class Timer {
 public:
  virtual ~Timer() = default;
  /// Stops the timer; it never fires again. Safe from any thread, also from its own callback.
  virtual void invalidate() = 0;
  virtual bool isValid() const = 0;
  virtual double timeInterval() const = 0;
};
using TimerRef = std::shared_ptr<Timer>;

/// The host's main run loop. The host runs it on its main thread; timers fire and performed work
/// runs there, also while a modal alert waits (a modal runs the loop nested).
class RunLoop {
 public:
  virtual ~RunLoop() = default;
  /// Schedules a repeating timer in the common modes; the first fire comes one interval from now.
  /// The callback runs on the main thread. It should hold its target weakly.
  virtual TimerRef scheduleRepeatingTimer(double interval, std::function<void()> fire) = 0;
  /// Queues work to run on the main thread, after the work queued before it.
  virtual void perform(std::function<void()> work) = 0;
  /// Whether the calling thread is the main thread (the thread that made the run loop).
  virtual bool isMainThread() const = 0;
  /// Runs work at once when called on the main thread, otherwise queues it with `perform`
  /// without waiting for it. Empty work is ignored.
  void performOnMainThread(std::function<void()> work) {
    if (!work) return;
    if (isMainThread()) {
      work();
    } else {
      perform(std::move(work));
    }
  }
  /// Runs the loop on the main thread until `stop`.
  virtual void run() = 0;
  /// Runs the loop for the given seconds of clock time (or until `stop`). May be nested.
  virtual void runFor(double seconds) = 0;
  /// Makes the innermost `run` or `runFor` return. Safe from any thread.
  virtual void stop() = 0;
};

}  // namespace zar::platform
