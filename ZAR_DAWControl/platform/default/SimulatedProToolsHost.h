#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/sim/LoopbackMidiPorts.h"
#include "ZAR_DAWControl/platform/sim/SimDesktop.h"
#include "ZAR_DAWControl/platform/sim/SimProTools.h"

namespace zar::platform {

/// A session "Dialogue Session" with the tracks "JO Dialog", "ANNA Dialog", "Guide" (audio) and
/// "FX" (aux), all disarmed and unmuted.
sim::SimProTools::Options simulatedDialogueSession();

/// A host's whole simulated studio in one object: the default platform on the simulated desktop,
/// installed, with MIDI over loopback ports (the preference "ZAR_MIDIBackend" defaults to
/// "loopback") and a simulated Pro Tools launched whose HUI peripheral is set to the framework's
/// ports. The thread that makes it is the main thread; run the loop there (`runFor`).
///
/// In virtual time the clock jumps from one timer to the next, and before it jumps the MIDI in
/// flight is delivered (a ping sent at 3.0 s is answered at 3.0 s); work for the global queue runs
/// on the calling thread, so only one thread moves time.
class SimulatedProToolsHost {
 public:
  struct Options {
    HostIdentity host;
    bool virtualTime = false;
    /// The preferences file; empty: kept in memory (nothing is written).
    std::string preferencesPath;
    /// The application support directory (the settings files); empty: the host's own under the
    /// user's data directory.
    std::string supportDirectory;
    /// Called with the assembled platform before it is installed, to wrap or replace services
    /// that no other service holds (see `Platform`).
    std::function<void(Platform&)> adjust;
    /// The Pro Tools launched at once; nothing launches none (see `launchProTools`).
    std::optional<sim::SimProTools::Options> proTools = simulatedDialogueSession();
  };

  /// Builds and installs the platform (real time), then launches Pro Tools on the dialogue
  /// session. Blocks only while it builds.
  SimulatedProToolsHost();
  explicit SimulatedProToolsHost(Options options);
  /// Quits Pro Tools, and installs no platform in place of this one if it is still installed.
  ~SimulatedProToolsHost();
  SimulatedProToolsHost(const SimulatedProToolsHost&) = delete;
  SimulatedProToolsHost& operator=(const SimulatedProToolsHost&) = delete;

  /// Launches a Pro Tools (quitting the one running; a free process id is chosen) whose HUI
  /// peripheral is set to the framework's ports. Main thread.
  std::shared_ptr<sim::SimProTools> launchProTools(sim::SimProTools::Options options);
  /// Quits the Pro Tools running, if any. Main thread.
  void quitProTools();
  /// The Pro Tools running; nothing after `quitProTools`.
  const std::shared_ptr<sim::SimProTools>& proTools() const { return _proTools; }

  /// Runs the main loop for that many seconds of the platform's clock. Main thread.
  void runFor(double seconds) { _platform->mainRunLoop->runFor(seconds); }
  /// Returns once all MIDI sent so far between the framework and Pro Tools has been delivered, the
  /// framework's paced HUI output included (which takes its time, or moves virtual time on).
  void settle();

  const std::shared_ptr<Platform>& platform() const { return _platform; }
  const std::shared_ptr<sim::SimDesktop>& desktop() const { return _desktop; }
  /// Pro Tools' side of the MIDI ports, whatever the framework's side was wrapped in.
  const std::shared_ptr<sim::LoopbackMidiPorts>& loopback() const { return _loopback; }

 private:
  std::shared_ptr<Platform> _platform;
  std::shared_ptr<sim::LoopbackMidiPorts> _loopback;
  std::shared_ptr<sim::SimDesktop> _desktop;
  std::shared_ptr<sim::SimProTools> _proTools;
};

}  // namespace zar::platform
