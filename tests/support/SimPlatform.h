#pragma once

#include <memory>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"
#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"
#include "ZAR_DAWControl/platform/sim/LoopbackMidiPorts.h"
#include "ZAR_DAWControl/platform/sim/SimDesktop.h"
#include "ZAR_DAWControl/platform/sim/SimDispatch.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "support/CapturingLogger.h"
#include "support/TemporaryDirectory.h"

namespace zar::test {

/// A whole platform for one test: virtual clock and main run loop (the test's thread is the main
/// thread), simulated dispatch and desktop, preferences in memory, a capturing logger and a
/// scratch support directory. Installed while it lives; the previous platform comes back after.
class SimPlatform {
 public:
  explicit SimPlatform(sim::SimDispatch::Mode dispatchMode = sim::SimDispatch::Mode::inlineOnCaller);
  ~SimPlatform();
  SimPlatform(const SimPlatform&) = delete;
  SimPlatform& operator=(const SimPlatform&) = delete;

  /// Runs the main loop for that many seconds of virtual time.
  void runFor(double seconds) { runLoop->runFor(seconds); }
  /// Waits until all MIDI sent so far is delivered, the framework's HUI output included (time
  /// moves on through its departures).
  void settleMIDI();

  TemporaryDirectory supportDirectory;
  std::shared_ptr<sim::VirtualClock> clock;
  std::shared_ptr<native::MainRunLoop> runLoop;
  std::shared_ptr<native::SynchronousNotificationCenter> notificationCenter;
  std::shared_ptr<CapturingLogger> logger;
  std::shared_ptr<native::PlistUserDefaults> userDefaults;
  std::shared_ptr<sim::LoopbackMidiPorts> midiPorts;
  std::unique_ptr<sim::SimDesktop> desktop;

 private:
  std::shared_ptr<const platform::Platform> _previous;
};

}  // namespace zar::test
