#include "support/VirtualTimeRunLoop.h"

#include <algorithm>
#include <atomic>
#include <limits>

namespace zar::test {

class VirtualTimeRunLoop::VirtualTimer final : public platform::Timer {
 public:
  VirtualTimer(double every, double firstDue, std::function<void()> callback)
      : interval(every), due(firstDue), fire(std::move(callback)) {}
  void invalidate() override { valid = false; }
  bool isValid() const override { return valid; }
  double timeInterval() const override { return interval; }

  const double interval;
  double due;
  std::function<void()> fire;
  std::atomic<bool> valid{true};
};

VirtualTimeRunLoop::VirtualTimeRunLoop(std::shared_ptr<sim::VirtualClock> clock)
    : _clock(std::move(clock)), _mainThread(std::this_thread::get_id()) {}

void VirtualTimeRunLoop::setSettleHook(std::function<void()> settle) { _settle = std::move(settle); }

platform::TimerRef VirtualTimeRunLoop::scheduleRepeatingTimer(double interval, std::function<void()> fire) {
  auto timer = std::make_shared<VirtualTimer>(interval, _clock->now() + interval, std::move(fire));
  std::lock_guard lock(_mutex);
  _timers.push_back(timer);
  return timer;
}

void VirtualTimeRunLoop::perform(std::function<void()> work) {
  std::lock_guard lock(_mutex);
  _performed.push_back(std::move(work));
}

bool VirtualTimeRunLoop::isMainThread() const { return std::this_thread::get_id() == _mainThread; }

void VirtualTimeRunLoop::run() { runFor(std::numeric_limits<double>::infinity()); }

void VirtualTimeRunLoop::stop() {
  std::lock_guard lock(_mutex);
  _stopped = true;
}

void VirtualTimeRunLoop::runPerformed() {
  std::vector<std::function<void()>> work;
  {
    std::lock_guard lock(_mutex);
    work.swap(_performed);
  }
  for (auto& item : work) {
    item();
  }
}

void VirtualTimeRunLoop::runFor(double seconds) {
  const double end = _clock->now() + seconds;
  while (true) {
    runPerformed();
    std::shared_ptr<VirtualTimer> next;
    {
      std::lock_guard lock(_mutex);
      if (_stopped) {
        _stopped = false;
        return;
      }
      std::erase_if(_timers, [](const auto& timer) { return !timer->isValid(); });
      for (const auto& timer : _timers) {
        if (timer->due <= end && (!next || timer->due < next->due)) {
          next = timer;
        }
      }
    }
    if (!next) {
      break;
    }
    _clock->advanceTo(next->due);
    next->due += next->interval;
    next->fire();
    if (_settle) {
      _settle();
    }
  }
  if (end < std::numeric_limits<double>::infinity()) {
    _clock->advanceTo(end);
  }
}

}  // namespace zar::test
