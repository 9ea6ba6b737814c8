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
  _loopback = std::make_shared<zar::sim::LoopbackMidiPorts>();
  if (options.virtualTime) {
    auto clock = std::make_shared<zar::sim::VirtualClock>();
    // MIDI in flight is delivered before time jumps: a ping sent at 3.0 s is answered at 3.0 s.
    clock->setSettleHook([weak = std::weak_ptr(_loopback)] {
      if (const auto loopback = weak.lock()) loopback->waitUntilIdle();
    });
    _platform->clock = clock;
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
  _platform->midiPorts = _loopback;
  _desktop = std::make_shared<zar::sim::SimDesktop>(_platform->clock, _runLoop, kHost);
  _desktop->provideServices(*_platform);
  if (options.adjust) {
    options.adjust(*_platform);
  }
  _platform->userDefaults->registerDefaults(
      {{ZAR_MIDISystem::kBackendPrefKey, zar::sim::LoopbackMidiPorts::kApi}});
  zar::platform::Platform::install(_platform);
  _start = _platform->clock->now();
}

SimulatedHost::~SimulatedHost() { zar::platform::Platform::install(nullptr); }

std::shared_ptr<zar::sim::SimProTools> SimulatedHost::launchProTools() {
  zar::sim::SimProTools::Options options;
  options.sessionName = "Dialogue Session";
  options.tracks = {{"JO Dialog"}, {"ANNA Dialog"}, {"Guide"}, {"FX", zar::sim::SimProTools::TrackKind::aux}};
  return launchProTools(std::move(options));
}

std::shared_ptr<zar::sim::SimProTools> SimulatedHost::launchProTools(zar::sim::SimProTools::Options options) {
  options.processIdentifier = _desktop->workspace()->unusedProcessIdentifier();
  _proTools = std::make_shared<zar::sim::SimProTools>(std::move(options));
  _desktop->workspace()->launch(_proTools);
  // Pro Tools' HUI peripheral is set to the framework's ports.
  _proTools->attachHUI(_loopback,
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
