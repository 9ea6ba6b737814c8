#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

#include <algorithm>
#include <cmath>

namespace zar::sim {

class VirtualClock::Waiter final : public BackgroundWaiter {
 public:
  explicit Waiter(VirtualClock& clock) : _clock(clock) {
    std::lock_guard lock(_clock._mutex);
    _clock._background.push_back(&_state);
  }
  ~Waiter() override {
    std::lock_guard lock(_clock._mutex);
    std::erase(_clock._background, &_state);
    _clock._changed.notify_all();
  }

  void waitUntil(std::unique_lock<std::mutex>& lock, double deadline) override {
    std::unique_lock own(_clock._mutex);
    if (_state.woken || deadline <= _clock._now) {
      _state.woken = false;
      return;  // still busy: nothing was released
    }
    _state.deadline = deadline;
    _state.busy = false;
    _clock._changed.notify_all();
    lock.unlock();
    // Both `wake` and time reaching the deadline make it busy again.
    _clock._changed.wait(own, [this] { return _state.busy; });
    _state.woken = false;
    _state.deadline = distantFuture;
    own.unlock();
    lock.lock();
  }

  void wake() override {
    std::lock_guard own(_clock._mutex);
    _state.woken = true;
    _state.busy = true;
    _clock._changed.notify_all();
  }

 private:
  VirtualClock& _clock;
  Background _state;
};

double VirtualClock::now() const {
  std::lock_guard lock(_mutex);
  return _now;
}

void VirtualClock::sleep(double seconds) {
  // As a real sleep lets other threads run: what is in flight happens before time moves on.
  settle();
  double end = 0;
  {
    std::lock_guard lock(_mutex);
    _sleeps.push_back(Sleep{_now, seconds, std::this_thread::get_id()});
    end = _now + std::max(seconds, 0.0);
  }
  moveThrough(end);
}

void VirtualClock::waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double deadline) {
  std::unique_lock own(_mutex);
  if (backgroundBusyLocked()) {
    return;  // the caller settles, which lets it finish, and comes back
  }
  const double target = std::min(deadline, nextBackgroundDeadlineLocked());
  if (std::isinf(target)) {
    own.unlock();
    cv.wait(lock);
    return;
  }
  moveLocked(target);
}

void VirtualClock::settle() {
  for (;;) {
    std::function<void()> settle;
    {
      std::lock_guard guard(_mutex);
      settle = _settle;
    }
    if (settle) {
      settle();
    }
    std::unique_lock lock(_mutex);
    if (!backgroundBusyLocked()) {
      return;
    }
    // What they do may put more in flight: settle again once they wait.
    _changed.wait(lock, [this] { return !backgroundBusyLocked(); });
  }
}

void VirtualClock::setSettleHook(std::function<void()> settle) {
  std::lock_guard lock(_mutex);
  _settle = std::move(settle);
}

std::unique_ptr<platform::Clock::BackgroundWaiter> VirtualClock::makeBackgroundWaiter() {
  return std::make_unique<Waiter>(*this);
}

void VirtualClock::advanceTo(double time) { moveThrough(time); }

std::vector<VirtualClock::Sleep> VirtualClock::sleeps() const {
  std::lock_guard lock(_mutex);
  return _sleeps;
}

void VirtualClock::clearSleeps() {
  std::lock_guard lock(_mutex);
  _sleeps.clear();
}

double VirtualClock::nextBackgroundDeadlineLocked() const {
  double next = distantFuture;
  for (const Background* background : _background) {
    if (!background->busy) {
      next = std::min(next, background->deadline);
    }
  }
  return next;
}

bool VirtualClock::backgroundBusyLocked() const {
  return std::any_of(_background.begin(), _background.end(), [](const Background* b) { return b->busy; });
}

bool VirtualClock::moveLocked(double time) {
  _now = std::max(_now, time);
  bool woke = false;
  for (Background* background : _background) {
    if (!background->busy && background->deadline <= _now) {
      background->busy = true;
      woke = true;
    }
  }
  if (woke) {
    _changed.notify_all();
  }
  return woke;
}

void VirtualClock::moveThrough(double time) {
  for (;;) {
    bool woke = false;
    bool arrived = false;
    {
      std::unique_lock lock(_mutex);
      _changed.wait(lock, [this] { return !backgroundBusyLocked(); });
      const double next = std::min(time, nextBackgroundDeadlineLocked());
      woke = moveLocked(next);
      arrived = next >= time;
    }
    if (woke) {
      settle();  // what the woken waiters do happens at their deadline, before time moves on
    }
    if (arrived) {
      return;
    }
  }
}

}  // namespace zar::sim
