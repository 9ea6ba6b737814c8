#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace zar::test {

/// A meeting point for a fixed number of threads. Each one arrives and waits for the others, but
/// never longer than the timeout, so work that fails to run concurrently fails a test instead of
/// hanging it.
class Rendezvous {
 public:
  explicit Rendezvous(int parties, std::chrono::milliseconds timeout = std::chrono::seconds(10));

  /// True once every party has arrived; false when the timeout came first.
  bool arriveAndWait();

 private:
  const int _parties;
  const std::chrono::milliseconds _timeout;
  std::mutex _mutex;
  std::condition_variable _arrived;
  int _count = 0;
};

/// Waits until `condition` holds, checking it every millisecond, but no longer than `limit`; true
/// when it held. For conditions that another thread or process makes true and that nothing can
/// signal (a count kept by the code under test, a port of an external server).
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit = std::chrono::seconds(10));

}  // namespace zar::test
