#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/platform/RunLoop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace zar::test {

/// A main run loop for tests on a virtual clock: `runFor` moves the clock from timer to timer
/// and fires each one, so seconds of timers run in microseconds. After every fire it calls the
/// settle hook (for example: wait until the loopback MIDI is delivered), so whatever a timer set
/// off happens at the timer's time.
class VirtualTimeRunLoop final : public platform::RunLoop {
 public:
  explicit VirtualTimeRunLoop(std::shared_ptr<sim::VirtualClock> clock);

  void setSettleHook(std::function<void()> settle);

  platform::TimerRef scheduleRepeatingTimer(double interval, std::function<void()> fire) override;
  void perform(std::function<void()> work) override;
  bool isMainThread() const override;
  void run() override;
  void runFor(double seconds) override;
  void stop() override;

  class VirtualTimer;

 private:
  void runPerformed();

  std::shared_ptr<sim::VirtualClock> _clock;
  std::thread::id _mainThread;
  std::mutex _mutex;
  std::vector<std::shared_ptr<VirtualTimer>> _timers;
  std::vector<std::function<void()>> _performed;
  std::function<void()> _settle;
  bool _stopped = false;
};

}  // namespace zar::test
