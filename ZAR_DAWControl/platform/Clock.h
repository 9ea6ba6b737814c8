#pragma once

#include <chrono>
#include <condition_variable>
#include <limits>
#include <memory>
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
  /// Wall-clock time: seconds since 1970-01-01 00:00 UTC, for telling a person when something
  /// happened (never for measuring time). The system's clock unless the clock says otherwise.
  virtual double secondsSince1970() const {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  }
  /// Blocks the calling thread for the given seconds.
  virtual void sleep(double seconds) = 0;
  /// Waits on `cv` (with `lock` held) until it is notified or `deadline` (clock time) has come.
  /// A virtual clock does not wait for a finite deadline: time jumps there at once.
  virtual void waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double deadline) = 0;
  /// Lets what is still in flight (MIDI on a simulated loopback, say) happen at the current time.
  /// A waiter calls it, without holding locks the world needs, before it works out how long to
  /// wait: what settling schedules then counts. A real clock has nothing to do.
  virtual void settle() {}

  /// How a thread that works in the background of the others (the sender of a paced MIDI output)
  /// waits for clock time. One per such thread, kept while it works and never longer than the
  /// clock; the thread never sleeps or settles on the clock itself.
  class BackgroundWaiter {
   public:
    virtual ~BackgroundWaiter() = default;
    /// Releases `lock`, waits until `wake` is called or the clock has reached `deadline`, and holds
    /// `lock` again when it returns. It may return early: callers look at their state again.
    virtual void waitUntil(std::unique_lock<std::mutex>& lock, double deadline) = 0;
    /// Ends the wait in progress, or else the next one at once.
    virtual void wake() = 0;
  };
  /// A real clock's background waiter waits as `waitUntil` does. A virtual clock's never moves
  /// time: it waits until the threads that drive time have moved it to the deadline, and they
  /// don't move it past a background deadline before the waiter has done its work there.
  virtual std::unique_ptr<BackgroundWaiter> makeBackgroundWaiter();
};

inline std::unique_ptr<Clock::BackgroundWaiter> Clock::makeBackgroundWaiter() {
  class Waiter final : public BackgroundWaiter {
   public:
    explicit Waiter(Clock& clock) : _clock(clock) {}
    void waitUntil(std::unique_lock<std::mutex>& lock, double deadline) override {
      lock.unlock();
      {
        std::unique_lock own(_mutex);
        if (!_woken) _clock.waitUntil(_wake, own, deadline);
        _woken = false;
      }
      lock.lock();
    }
    void wake() override {
      std::lock_guard own(_mutex);
      _woken = true;
      _wake.notify_all();
    }

   private:
    Clock& _clock;
    std::mutex _mutex;
    std::condition_variable _wake;
    bool _woken = false;
  };
  return std::make_unique<Waiter>(*this);
}

}  // namespace zar::platform
