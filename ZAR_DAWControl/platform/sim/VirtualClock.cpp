#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

#include <cmath>

namespace zar::sim {

double VirtualClock::now() const {
  std::lock_guard lock(_mutex);
  return _now;
}

void VirtualClock::sleep(double seconds) {
  // As a real sleep lets other threads run: what is in flight happens before time moves on.
  settle();
  std::lock_guard lock(_mutex);
  _sleeps.push_back(Sleep{_now, seconds, std::this_thread::get_id()});
  if (seconds > 0) {
    _now += seconds;
  }
}

void VirtualClock::waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double deadline) {
  if (std::isinf(deadline)) {
    cv.wait(lock);
    return;
  }
  advanceTo(deadline);
}

void VirtualClock::settle() {
  std::function<void()> settle;
  {
    std::lock_guard guard(_mutex);
    settle = _settle;
  }
  if (settle) {
    settle();
  }
}

void VirtualClock::setSettleHook(std::function<void()> settle) {
  std::lock_guard lock(_mutex);
  _settle = std::move(settle);
}

void VirtualClock::advanceTo(double time) {
  std::lock_guard lock(_mutex);
  if (time > _now) {
    _now = time;
  }
}

std::vector<VirtualClock::Sleep> VirtualClock::sleeps() const {
  std::lock_guard lock(_mutex);
  return _sleeps;
}

void VirtualClock::clearSleeps() {
  std::lock_guard lock(_mutex);
  _sleeps.clear();
}

}  // namespace zar::sim
