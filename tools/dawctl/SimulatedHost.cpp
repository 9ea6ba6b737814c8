#include "SimulatedHost.h"

#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/sim/LoopbackMidiPorts.h"
#include "ZAR_DAWControl/platform/sim/SimDispatch.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"

namespace dawctl {

namespace {
const zar::platform::HostIdentity kHost{"com.zar.dawctl", "dawctl"};
}

SimulatedHost::SimulatedHost(const Options& options) {
  // The Linux services as a host gets them by default; dawctl replaces what it runs differently.
  _platform = zar::platform::makeDefaultPlatform(kHost);
  if (options.virtualTime) {
    _platform->clock = std::make_shared<zar::sim::VirtualClock>();
  }
  _runLoop = std::make_shared<zar::native::MainRunLoop>(_platform->clock);
  _platform->mainRunLoop = _runLoop;
  if (options.virtualTime) {
    // Work handed to the global queue runs at once, so virtual time stays in order.
    _platform->dispatch =
        std::make_shared<zar::sim::SimDispatch>(_runLoop, zar::sim::SimDispatch::Mode::inlineOnCaller);
  }
  if (!options.supportDirectory.empty()) {
    _platform->fileUtility = std::make_shared<zar::native::LocalFileUtility>(options.supportDirectory);
  }
  auto loopback = std::make_shared<zar::sim::LoopbackMidiPorts>();
  if (const auto virtualClock = std::dynamic_pointer_cast<zar::sim::VirtualClock>(_platform->clock)) {
    // MIDI in flight reaches its receiver before virtual time moves on.
    virtualClock->setSettleHook([weak = std::weak_ptr(loopback)] {
      if (const auto ports = weak.lock()) ports->waitUntilIdle();
    });
  }
  _platform->midiPorts = loopback;
  _platform->userDefaults->registerDefaults(
      {{ZAR_MIDISystem::kBackendPrefKey, zar::sim::LoopbackMidiPorts::kApi}});
  _desktop = std::make_shared<zar::sim::SimDesktop>(_platform->clock, _runLoop, kHost);
  _desktop->provideServices(*_platform);
  zar::platform::Platform::install(_platform);
  _start = _platform->clock->now();
}

SimulatedHost::~SimulatedHost() { zar::platform::Platform::install(nullptr); }

std::shared_ptr<zar::sim::SimProTools> SimulatedHost::launchProTools() {
  zar::sim::SimProTools::Options options;
  options.processIdentifier = _desktop->workspace()->unusedProcessIdentifier();
  options.sessionName = "Dialogue Session";
  options.tracks = {{"JO Dialog"}, {"ANNA Dialog"}, {"Guide"}, {"FX", zar::sim::SimProTools::TrackKind::aux}};
  _proTools = std::make_shared<zar::sim::SimProTools>(options);
  _desktop->workspace()->launch(_proTools);
  // Pro Tools' HUI peripheral is set to the framework's ports.
  _proTools->attachHUI(_platform->midiPorts,
                       zar::sim::SimHUIHost::defaultPortRequest(ZAR_MIDISystem::kDefaultHUIPortName,
                                                                zar::sim::LoopbackMidiPorts::kApi));
  return _proTools;
}

void SimulatedHost::quitProTools() {
  if (_proTools) {
    _desktop->workspace()->quit(_proTools->processIdentifier());
    _proTools.reset();
  }
}

double SimulatedHost::elapsed() const { return _platform->clock->now() - _start; }

}  // namespace dawctl
