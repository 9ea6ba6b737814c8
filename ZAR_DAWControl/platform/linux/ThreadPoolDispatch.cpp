#include "ZAR_DAWControl/platform/linux/ThreadPoolDispatch.h"

#include <algorithm>
#include <exception>
#include <stdexcept>

#include "ZAR_DAWControl/platform/Log.h"

namespace zar::native {

ThreadPoolDispatch::ThreadPoolDispatch(std::shared_ptr<platform::RunLoop> mainRunLoop, unsigned threads)
    : _mainRunLoop(std::move(mainRunLoop)) {
  if (!_mainRunLoop) {
    throw std::invalid_argument("ThreadPoolDispatch needs a main run loop");
  }
  const unsigned count = threads != 0 ? threads : std::max(4u, std::thread::hardware_concurrency());
  _threads.reserve(count);
  try {
    for (unsigned i = 0; i < count; ++i) {
      _threads.emplace_back([queue = _queue] { workerLoop(queue); });
    }
  } catch (...) {
    // The system refused a thread: the ones started must not outlive a half-made pool.
    shutDown();
    throw;
  }
}

ThreadPoolDispatch::~ThreadPoolDispatch() { shutDown(); }

void ThreadPoolDispatch::shutDown() {
  {
    std::lock_guard lock(_queue->mutex);
    _queue->shuttingDown = true;
  }
  _queue->workAvailable.notify_all();
  for (auto& thread : _threads) {
    if (thread.get_id() == std::this_thread::get_id()) {
      thread.detach();
    } else {
      thread.join();
    }
  }
}

void ThreadPoolDispatch::async(std::function<void()> work) {
  if (!work) {
    return;
  }
  {
    std::lock_guard lock(_queue->mutex);
    _queue->work.push_back(std::move(work));
  }
  _queue->workAvailable.notify_one();
}

void ThreadPoolDispatch::onMainThread(std::function<void()> work) { _mainRunLoop->performOnMainThread(std::move(work)); }

void ThreadPoolDispatch::workerLoop(const std::shared_ptr<Queue>& queue) {
  std::unique_lock lock(queue->mutex);
  while (true) {
    queue->workAvailable.wait(lock, [&queue] { return queue->shuttingDown || !queue->work.empty(); });
    if (queue->work.empty()) {
      return;
    }
    auto work = std::move(queue->work.front());
    queue->work.pop_front();
    lock.unlock();
    try {
      work();
    } catch (const std::exception& error) {
      ZAR_LOG_ERROR("Work on the global queue threw: {}", error.what());
    } catch (...) {
      ZAR_LOG_ERROR("Work on the global queue threw an unknown exception");
    }
    // Destroy the work (and what it captured) before taking the lock again.
    work = nullptr;
    lock.lock();
  }
}

}  // namespace zar::native
