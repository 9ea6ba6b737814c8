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
    case Mode::threaded:
      _pool->async(std::move(work));
      break;
  }
}

void SimDispatch::onMainThread(std::function<void()> work) { _mainRunLoop->performOnMainThread(std::move(work)); }

}  // namespace zar::sim
