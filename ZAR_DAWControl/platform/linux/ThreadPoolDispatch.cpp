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
      _threads.emplace_back([this] { workerLoop(); });
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
    std::lock_guard lock(_mutex);
    _shuttingDown = true;
  }
  _workAvailable.notify_all();
  for (auto& thread : _threads) {
    thread.join();
  }
}

void ThreadPoolDispatch::async(std::function<void()> work) {
  if (!work) {
    return;
  }
  {
    std::lock_guard lock(_mutex);
    _queue.push_back(std::move(work));
  }
  _workAvailable.notify_one();
}

void ThreadPoolDispatch::onMainThread(std::function<void()> work) { _mainRunLoop->performOnMainThread(std::move(work)); }

void ThreadPoolDispatch::workerLoop() {
  std::unique_lock lock(_mutex);
  while (true) {
    _workAvailable.wait(lock, [this] { return _shuttingDown || !_queue.empty(); });
    if (_queue.empty()) {
      return;
    }
    auto work = std::move(_queue.front());
    _queue.pop_front();
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
