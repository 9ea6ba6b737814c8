#include "ZAR_DAWControl/platform/default/SimulatedProToolsHost.h"

#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace zar::platform {

sim::SimProTools::Options simulatedDialogueSession() {
  sim::SimProTools::Options options;
  options.sessionName = "Dialogue Session";
  options.tracks = {{"JO Dialog"}, {"ANNA Dialog"}, {"Guide"}, {"FX", sim::SimProTools::TrackKind::aux}};
  return options;
}

SimulatedProToolsHost::SimulatedProToolsHost() : SimulatedProToolsHost(Options{}) {}

SimulatedProToolsHost::SimulatedProToolsHost(Options options)
    : _loopback(std::make_shared<sim::LoopbackMidiPorts>()) {
  DefaultPlatformOptions platformOptions;
  platformOptions.host = options.host;
  platformOptions.supportDirectory = options.supportDirectory;
  if (options.virtualTime) {
    auto clock = std::make_shared<sim::VirtualClock>();
    // MIDI in flight is delivered before time jumps: a ping sent at 3.0 s is answered at 3.0 s.
    clock->setSettleHook([weak = std::weak_ptr(_loopback)] {
      if (const auto loopback = weak.lock()) loopback->waitUntilIdle();
    });
    platformOptions.clock = std::move(clock);
    platformOptions.globalQueueOnCaller = true;
  }
  platformOptions.preferencesPath = options.preferencesPath;
  platformOptions.preferencesInMemory = options.preferencesPath.empty();
  auto built = buildDefaultPlatform(platformOptions);
  _platform = std::move(built.platform);
  _desktop = std::move(built.desktop);
  _platform->midiPorts = _loopback;
  if (options.adjust) {
    options.adjust(*_platform);
  }
  _platform->userDefaults->registerDefaults({{ZAR_MIDISystem::kBackendPrefKey, sim::LoopbackMidiPorts::kApi}});
  Platform::install(_platform);
  if (options.proTools) {
    launchProTools(std::move(*options.proTools));
  }
}

SimulatedProToolsHost::~SimulatedProToolsHost() {
  quitProTools();
  if (Platform::installed() == _platform) {
    Platform::install(nullptr);
  }
}

void SimulatedProToolsHost::settle() {
  ZAR_MIDISystem::sharedMIDISystem()->waitUntilHUIOutputSent([this] { _loopback->waitUntilIdle(); });
}

std::shared_ptr<sim::SimProTools> SimulatedProToolsHost::launchProTools(sim::SimProTools::Options options) {
  quitProTools();
  options.processIdentifier = _desktop->workspace()->unusedProcessIdentifier();
  _proTools = std::make_shared<sim::SimProTools>(std::move(options));
  _desktop->workspace()->launch(_proTools);
  _proTools->attachHUI(_loopback, sim::SimHUIHost::defaultPortRequest(ZAR_MIDISystem::kDefaultHUIPortName,
                                                                      sim::LoopbackMidiPorts::kApi));
  return _proTools;
}

void SimulatedProToolsHost::quitProTools() {
  if (_proTools) {
    _desktop->workspace()->quit(_proTools->processIdentifier());
    _proTools.reset();
  }
}

}  // namespace zar::platform
