#include "support/Rendezvous.h"

namespace zar::test {

Rendezvous::Rendezvous(int parties, std::chrono::milliseconds timeout) : _parties(parties), _timeout(timeout) {}

bool Rendezvous::arriveAndWait() {
  std::unique_lock lock(_mutex);
  ++_count;
  _arrived.notify_all();
  return _arrived.wait_for(lock, _timeout, [this] { return _count >= _parties; });
}

}  // namespace zar::test
