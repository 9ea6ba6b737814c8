#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace zar::test {

/// Ends a hung test: unless destroyed within `limit` of real time, it calls `onExpiry` (which
/// stops what hangs, a run loop say) from its own thread. Correct code never lets it fire.
class Watchdog {
 public:
  Watchdog(std::chrono::seconds limit, std::function<void()> onExpiry)
      : _thread([this, limit, onExpiry = std::move(onExpiry)] {
          std::unique_lock lock(_mutex);
          if (!_done.wait_for(lock, limit, [this] { return _finished; })) {
            _fired = true;
            lock.unlock();
            onExpiry();
          }
        }) {}
  ~Watchdog() {
    {
      std::lock_guard lock(_mutex);
      _finished = true;
    }
    _done.notify_all();
    _thread.join();
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  bool fired() {
    std::lock_guard lock(_mutex);
    return _fired;
  }

 private:
  std::mutex _mutex;
  std::condition_variable _done;
  bool _finished = false;
  bool _fired = false;
  std::thread _thread;
};

}  // namespace zar::test
