#include "support/SimPlatform.h"

#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"

namespace zar::test {

SimPlatform::SimPlatform(sim::SimDispatch::Mode dispatchMode)
    : clock(std::make_shared<sim::VirtualClock>()),
      runLoop(std::make_shared<native::MainRunLoop>(clock)),
      notificationCenter(std::make_shared<native::SynchronousNotificationCenter>()),
      logger(std::make_shared<CapturingLogger>()),
      userDefaults(std::make_shared<native::PlistUserDefaults>(std::nullopt, logger)),
      midiPorts(std::make_shared<sim::LoopbackMidiPorts>()) {
  const auto platform = std::make_shared<platform::Platform>();
  platform->clock = clock;
  platform->mainRunLoop = runLoop;
  platform->dispatch = std::make_shared<sim::SimDispatch>(runLoop, dispatchMode);
  platform->notificationCenter = notificationCenter;
  platform->logger = logger;
  platform->userDefaults = userDefaults;
  platform->fileUtility = std::make_shared<native::LocalFileUtility>(supportDirectory.path());
  platform->midiPorts = midiPorts;
  // MIDI in flight is delivered before virtual time moves on.
  clock->setSettleHook([weak = std::weak_ptr(midiPorts)] {
    if (const auto ports = weak.lock()) ports->waitUntilIdle();
  });
  // The simulated Pro Tools talks HUI over the in-process loopback.
  userDefaults->registerDefaults({{ZAR_MIDISystem::kBackendPrefKey, sim::LoopbackMidiPorts::kApi}});
  desktop = std::make_unique<sim::SimDesktop>(clock, runLoop, platform->host);
  desktop->provideServices(*platform);
  _previous = platform::Platform::installed();
  platform::Platform::install(platform);
}

SimPlatform::~SimPlatform() { platform::Platform::install(_previous); }

void SimPlatform::settleMIDI() {
  ZAR_MIDISystem::sharedMIDISystem()->waitUntilHUIOutputSent([this] { midiPorts->waitUntilIdle(); });
}

}  // namespace zar::test
