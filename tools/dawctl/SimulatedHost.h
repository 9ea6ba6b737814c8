#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/sim/LoopbackMidiPorts.h"
#include "ZAR_DAWControl/platform/sim/SimDesktop.h"
#include "ZAR_DAWControl/platform/sim/SimProTools.h"

namespace dawctl {

/// dawctl as a host of the framework on the simulated desktop: it assembles and installs the
/// platform (real time, or virtual time that runs as fast as the machine allows) and launches the
/// simulated Pro Tools.
class SimulatedHost {
 public:
  struct Options {
    bool virtualTime = false;
    /// The application support directory; empty: dawctl's own under the user's data directory.
    std::string supportDirectory;
    /// Called with the assembled platform before it is installed, to replace or wrap services.
    std::function<void(zar::platform::Platform&)> adjust;
  };

  explicit SimulatedHost(const Options& options);
  ~SimulatedHost();
  SimulatedHost(const SimulatedHost&) = delete;
  SimulatedHost& operator=(const SimulatedHost&) = delete;

  /// Launches a simulated Pro Tools with a session of a few dialogue tracks.
  std::shared_ptr<zar::sim::SimProTools> launchProTools();
  /// Launches a simulated Pro Tools (a free process id is chosen) whose HUI peripheral is set to
  /// the framework's ports.
  std::shared_ptr<zar::sim::SimProTools> launchProTools(zar::sim::SimProTools::Options options);
  void quitProTools();
  /// Seconds since the host started, on the platform's clock.
  double elapsed() const;
  /// Runs the main loop for that many seconds of the platform's clock.
  void runFor(double seconds) { _runLoop->runFor(seconds); }
  /// Returns when all MIDI sent so far between the framework and Pro Tools has been delivered.
  void settle() { _loopback->waitUntilIdle(); }

  const std::shared_ptr<zar::platform::Platform>& platform() const { return _platform; }
  const std::shared_ptr<zar::sim::SimDesktop>& desktop() const { return _desktop; }

 private:
  std::shared_ptr<zar::platform::Platform> _platform;
  std::shared_ptr<zar::native::MainRunLoop> _runLoop;
  /// Pro Tools' side of the MIDI ports, whatever the framework's side is wrapped in.
  std::shared_ptr<zar::sim::LoopbackMidiPorts> _loopback;
  std::shared_ptr<zar::sim::SimDesktop> _desktop;
  std::shared_ptr<zar::sim::SimProTools> _proTools;
  double _start = 0;
};

}  // namespace dawctl
