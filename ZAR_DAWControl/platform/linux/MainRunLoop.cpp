#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "ZAR_DAWControl/platform/Log.h"

namespace zar::native {

namespace {

// The shortest interval a timer gets, as the host platform's timers do for non-positive ones.
constexpr double minimumInterval = 0.0001;

// Runs `call` with `lock` released; the lock is held again afterwards, also when `call` throws.
template <typename Call>
void runUnlocked(std::unique_lock<std::mutex>& lock, Call&& call) {
  struct Relock {
    std::unique_lock<std::mutex>& lock;
    ~Relock() { lock.lock(); }
  };
  lock.unlock();
  Relock relock{lock};
  call();
}

}  // namespace

class MainRunLoop::RepeatingTimer final : public platform::Timer {
 public:
  using Callback = std::shared_ptr<const std::function<void()>>;

  RepeatingTimer(double interval, double anchor, std::function<void()> fire)
      : _interval(interval), _anchor(anchor), _callback(std::make_shared<const std::function<void()>>(std::move(fire))) {}

  void invalidate() override {
    Callback released;
    {
      std::lock_guard lock(_callbackMutex);
      _valid.store(false);
      released = std::move(_callback);
    }
    // `released` goes out of scope here, outside the lock: destroying the callback's captures may
    // call back into this timer. While the callback runs, the loop holds another reference.
  }

  bool isValid() const override { return _valid.load(); }
  double timeInterval() const override { return _interval; }

  Callback callback() const {
    std::lock_guard lock(_callbackMutex);
    return _callback;
  }

  // The members below are guarded by the run loop's mutex.

  double fireDate() const { return _anchor + _fireCount * _interval; }

  /// Moves the fire date to the next date on the grid, and on past every date before `now`.
  void advancePast(double now) {
    _fireCount += 1;
    if (fireDate() < now) {
      _fireCount = std::max(_fireCount, std::floor((now - _anchor) / _interval));
      while (fireDate() < now) {
        _fireCount += 1;
      }
    }
  }

  bool firing = false;

 private:
  const double _interval;
  const double _anchor;
  double _fireCount = 1;
  std::atomic<bool> _valid{true};
  mutable std::mutex _callbackMutex;
  Callback _callback;
};

MainRunLoop::MainRunLoop(std::shared_ptr<platform::Clock> clock)
    : _clock(std::move(clock)), _mainThread(std::this_thread::get_id()) {}

MainRunLoop::~MainRunLoop() = default;

platform::TimerRef MainRunLoop::scheduleRepeatingTimer(double interval, std::function<void()> fire) {
  if (!(interval > 0)) {
    interval = minimumInterval;
  }
  auto timer = std::make_shared<RepeatingTimer>(interval, _clock->now(), std::move(fire));
  std::lock_guard lock(_mutex);
  dropInvalidTimers();
  _timers.push_back(timer);
  _wakeUp.notify_all();
  return timer;
}

void MainRunLoop::perform(std::function<void()> work) {
  if (!work) {
    return;
  }
  std::lock_guard lock(_mutex);
  _queue.push_back(std::move(work));
  _wakeUp.notify_all();
}

bool MainRunLoop::isMainThread() const { return std::this_thread::get_id() == _mainThread; }

void MainRunLoop::run() {
  if (!isMainThread()) {
    ZAR_LOG_ERROR("The main run loop can only be run on the main thread");
    return;
  }
  runUntil(platform::Clock::distantFuture);
}

void MainRunLoop::runFor(double seconds) {
  if (!isMainThread()) {
    ZAR_LOG_ERROR("The main run loop can only be run on the main thread");
    return;
  }
  if (!(seconds > 0)) {
    seconds = 0;
  }
  runUntil(_clock->now() + seconds);
}

void MainRunLoop::stop() {
  std::lock_guard lock(_mutex);
  if (_frames.empty()) {
    _stopPending = true;
  } else {
    _frames.back()->stopped = true;
  }
  _wakeUp.notify_all();
}

void MainRunLoop::runUntil(double deadline) {
  std::unique_lock lock(_mutex);
  if (_stopPending) {
    _stopPending = false;
    return;
  }
  RunFrame frame;
  _frames.push_back(&frame);
  struct PopFrame {
    std::vector<RunFrame*>& frames;
    ~PopFrame() { frames.pop_back(); }
  } popFrame{_frames};

  while (!frame.stopped) {
    performQueuedWork(lock, frame);
    if (frame.stopped) {
      break;
    }
    fireDueTimers(lock, frame);
    if (frame.stopped || !_queue.empty()) {
      continue;
    }
    if (_clock->now() >= deadline) {
      break;
    }
    // What settling schedules or queues (a timer set by a MIDI thread, say) counts before time moves.
    runUnlocked(lock, [this] { _clock->settle(); });
    if (frame.stopped || !_queue.empty()) {
      continue;
    }
    const double wake = std::min(deadline, nextFireDate());
    if (wake > _clock->now()) {
      _clock->waitUntil(_wakeUp, lock, wake);
    }
  }
}

void MainRunLoop::performQueuedWork(std::unique_lock<std::mutex>& lock, const RunFrame& frame) {
  // Work queued while this batch runs waits for the next pass, so timers are not starved.
  for (std::size_t count = _queue.size(); count > 0 && !_queue.empty() && !frame.stopped; --count) {
    auto work = std::move(_queue.front());
    _queue.pop_front();
    runUnlocked(lock, [&work] {
      auto running = std::move(work);
      running();
    });
  }
}

void MainRunLoop::fireDueTimers(std::unique_lock<std::mutex>& lock, const RunFrame& frame) {
  const double now = _clock->now();
  std::vector<std::shared_ptr<RepeatingTimer>> due;
  for (const auto& timer : _timers) {
    if (timer->isValid() && !timer->firing && timer->fireDate() <= now) {
      due.push_back(timer);
    }
  }
  std::stable_sort(due.begin(), due.end(), [](const auto& a, const auto& b) { return a->fireDate() < b->fireDate(); });

  for (const auto& timer : due) {
    if (frame.stopped) {
      break;
    }
    // An earlier callback may have run the loop nested and fired or invalidated this one.
    if (!timer->isValid() || timer->fireDate() > now) {
      continue;
    }
    timer->firing = true;
    struct EndFiring {
      RepeatingTimer& timer;
      platform::Clock& clock;
      ~EndFiring() {
        timer.firing = false;
        timer.advancePast(clock.now());
      }
    } endFiring{*timer, *_clock};
    runUnlocked(lock, [callback = timer->callback()]() mutable {
      if (callback && *callback) {
        (*callback)();
      }
      callback.reset();
    });
  }
  dropInvalidTimers();
}

double MainRunLoop::nextFireDate() const {
  double next = platform::Clock::distantFuture;
  for (const auto& timer : _timers) {
    if (timer->isValid() && !timer->firing) {
      next = std::min(next, timer->fireDate());
    }
  }
  return next;
}

void MainRunLoop::dropInvalidTimers() {
  std::erase_if(_timers, [](const auto& timer) { return !timer->isValid(); });
}

std::size_t MainRunLoop::validTimerCount() const {
  std::lock_guard lock(_mutex);
  return static_cast<std::size_t>(
      std::count_if(_timers.begin(), _timers.end(), [](const auto& timer) { return timer->isValid(); }));
}

}  // namespace zar::native
