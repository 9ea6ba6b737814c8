#include "support/Watchdog.h"

namespace zar::test {

Watchdog::Watchdog(std::chrono::seconds limit, std::function<void()> onExpiry)
    : _thread([this, limit, onExpiry = std::move(onExpiry)] {
        std::unique_lock lock(_mutex);
        if (!_done.wait_for(lock, limit, [this] { return _finished; })) {
          _fired = true;
          lock.unlock();
          onExpiry();
        }
      }) {}

Watchdog::~Watchdog() {
  {
    std::lock_guard lock(_mutex);
    _finished = true;
  }
  _done.notify_all();
  _thread.join();
}

bool Watchdog::fired() {
  std::lock_guard lock(_mutex);
  return _fired;
}

}  // namespace zar::test
