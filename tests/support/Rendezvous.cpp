#include "support/Rendezvous.h"

#include <thread>

namespace zar::test {

Rendezvous::Rendezvous(int parties, std::chrono::milliseconds timeout) : _parties(parties), _timeout(timeout) {}

bool Rendezvous::arriveAndWait() {
  std::unique_lock lock(_mutex);
  ++_count;
  _arrived.notify_all();
  return _arrived.wait_for(lock, _timeout, [this] { return _count >= _parties; });
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace zar::test
