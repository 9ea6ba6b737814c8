#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/default/SimulatedProToolsHost.h"

namespace dawctl {

/// dawctl as a host of the framework on the simulated desktop (real time, or virtual time that
/// runs as fast as the machine allows). Pro Tools is launched when asked.
class SimulatedHost {
 public:
  struct Options {
    bool virtualTime = false;
    /// The application support directory; empty: dawctl's own under the user's data directory.
    std::string supportDirectory;
    /// Called with the assembled platform before it is installed, to wrap services.
    std::function<void(zar::platform::Platform&)> adjust;
  };

  explicit SimulatedHost(const Options& options);

  /// Launches a simulated Pro Tools with a session of a few dialogue tracks.
  std::shared_ptr<zar::sim::SimProTools> launchProTools() {
    return launchProTools(zar::platform::simulatedDialogueSession());
  }
  std::shared_ptr<zar::sim::SimProTools> launchProTools(zar::sim::SimProTools::Options options) {
    return _studio.launchProTools(std::move(options));
  }
  void quitProTools() { _studio.quitProTools(); }
  /// Seconds since the host started, on the platform's clock.
  double elapsed() const { return platform()->clock->now() - _start; }
  void runFor(double seconds) { _studio.runFor(seconds); }
  void settle() { _studio.settle(); }

  const std::shared_ptr<zar::platform::Platform>& platform() const { return _studio.platform(); }
  const std::shared_ptr<zar::sim::SimDesktop>& desktop() const { return _studio.desktop(); }

 private:
  static zar::platform::SimulatedProToolsHost::Options studioOptions(const Options& options);

  zar::platform::SimulatedProToolsHost _studio;
  double _start = 0;
};

}  // namespace dawctl
