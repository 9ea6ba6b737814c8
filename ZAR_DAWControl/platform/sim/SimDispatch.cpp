#include "ZAR_DAWControl/platform/sim/SimDispatch.h"

#include <stdexcept>

#include "ZAR_DAWControl/platform/linux/ThreadPoolDispatch.h"

namespace zar::sim {

SimDispatch::SimDispatch(std::shared_ptr<platform::RunLoop> mainRunLoop, Mode mode, unsigned threads)
    : _mainRunLoop(std::move(mainRunLoop)), _mode(mode) {
  if (!_mainRunLoop) {
    throw std::invalid_argument("SimDispatch needs a main run loop");
  }
  if (_mode == Mode::threaded) {
    _pool = std::make_unique<native::ThreadPoolDispatch>(_mainRunLoop, threads);
  }
}

SimDispatch::~SimDispatch() = default;

void SimDispatch::async(std::function<void()> work) {
  if (!work) {
    return;
  }
  switch (_mode) {
    case Mode::inlineOnCaller:
      work();
      break;
    case Mode::manual: {
      std::lock_guard lock(_mutex);
      _pending.push_back(std::move(work));
      break;
    }
    case Mode::threaded:
      _pool->async(std::move(work));
      break;
  }
}

void SimDispatch::onMainThread(std::function<void()> work) { _mainRunLoop->performOnMainThread(std::move(work)); }

std::size_t SimDispatch::runPending() {
  std::deque<std::function<void()>> batch;
  {
    std::lock_guard lock(_mutex);
    batch.swap(_pending);
  }
  const std::size_t count = batch.size();
  while (!batch.empty()) {
    auto work = std::move(batch.front());
    batch.pop_front();
    work();
  }
  return count;
}

std::size_t SimDispatch::pendingCount() const {
  std::lock_guard lock(_mutex);
  return _pending.size();
}

}  // namespace zar::sim
