#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/platform/Dispatch.h"
#include "ZAR_DAWControl/platform/RunLoop.h"

namespace zar::native {

/// The global concurrent queue as a fixed pool of threads, and hand-over to the main run loop.
/// Destruction runs every piece of work already queued (and what that work queues), then joins;
/// destroyed by its own work (which held the last owner), it lets that one thread finish alone.
class ThreadPoolDispatch final : public platform::Dispatch {
 public:
  /// `threads` 0 means max(4, the number of hardware threads). Throws `std::invalid_argument`
  /// without a run loop.
  explicit ThreadPoolDispatch(std::shared_ptr<platform::RunLoop> mainRunLoop, unsigned threads = 0);
  ~ThreadPoolDispatch() override;
  ThreadPoolDispatch(const ThreadPoolDispatch&) = delete;
  ThreadPoolDispatch& operator=(const ThreadPoolDispatch&) = delete;

  /// Empty work is ignored. Work that throws is logged as an error and the pool goes on.
  void async(std::function<void()> work) override;
  void onMainThread(std::function<void()> work) override;

  std::size_t threadCount() const { return _threads.size(); }

 private:
  /// What the workers share; each holds it, so a worker may outlive the pool.
  struct Queue {
    std::mutex mutex;
    std::condition_variable workAvailable;
    std::deque<std::function<void()>> work;
    bool shuttingDown = false;
  };

  static void workerLoop(const std::shared_ptr<Queue>& queue);
  /// Lets the workers finish the queue, then joins them.
  void shutDown();

  const std::shared_ptr<platform::RunLoop> _mainRunLoop;
  const std::shared_ptr<Queue> _queue = std::make_shared<Queue>();
  std::vector<std::thread> _threads;
};

}  // namespace zar::native
