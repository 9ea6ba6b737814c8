// The real desktop: the X11 backend against the stand-in Pro Tools under a private Xvfb,
// accessibility bus and JACK server (tests/support/DesktopSession). One attribute read, a frame
// update in steady state with 8 and 64 tracks, and a discovery pass.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>

#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"
#include "support/ChildProcess.h"
#include "support/DesktopSession.h"
#include "support/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;

// The framework on the X11 desktop, enabled against a stand-in with `tracks` tracks and talking
// HUI with it.
class StandInSetup {
 public:
  explicit StandInSetup(int tracks) {
    if (!zar::test::DesktopSession::shared().started()) return;  // before the desktop connects to it
    static int count = 0;
    const std::string port = "ZAR bench HUI " + std::to_string(::getpid()) + "-" + std::to_string(++count);
    _platform = zar::platform::makeDefaultPlatform({"com.zar.bench", "bench"}, zar::platform::Desktop::x11);
    _platform->userDefaults = std::make_shared<zar::native::PlistUserDefaults>(std::nullopt, _platform->logger);
    _platform->fileUtility = std::make_shared<zar::native::LocalFileUtility>(_support.path());
    _platform->userDefaults->registerDefaults(
        {{ZAR_MIDISystem::kBackendPrefKey, "jack"}, {ZAR_MIDISystem::kHUIPortNamePrefKey, port}});
    zar::platform::Platform::install(_platform);
    _standIn = std::make_unique<zar::test::ChildProcess>(
        std::vector<std::string>{ZAR_STANDIN_PATH, "--hui-port", port, "--tracks", std::to_string(tracks)});
    if (!_standIn->waitForLine("ready", 10s)) return;
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!_platform->workspace->runningApplicationWithProcessIdentifier(_standIn->pid())) {
      if (std::chrono::steady_clock::now() > deadline) return;
      _platform->clock->sleep(0.02);  // a bounded wait for the stand-in to join the bus
    }
    _manager = ZAR_DAWApplicationManager::sharedManager();
    _manager->setAllowed(true);
    _manager->setEnabled(true);
    _driver = std::dynamic_pointer_cast<ZAR_DAWApplicationProTools>(_manager->currentApplication());
    if (!_standIn->waitForLine("hui ping answered", 10s)) _driver = nullptr;
  }

  ~StandInSetup() {
    if (_manager) _manager->setEnabled(false);
    zar::platform::Platform::install(nullptr);
  }

  // Skips the benchmark with a reason when the desktop or the stand-in didn't come up.
  bool ready(benchmark::State& state) {
    if (!zar::test::DesktopSession::shared().started()) {
      state.SkipWithError(zar::test::DesktopSession::shared().reason().c_str());
      return false;
    }
    if (!_driver) state.SkipWithError("the framework did not find the stand-in or its HUI");
    return _driver != nullptr;
  }

  zar::test::TemporaryDirectory _support;
  std::shared_ptr<zar::platform::Platform> _platform;
  std::unique_ptr<zar::test::ChildProcess> _standIn;
  std::shared_ptr<ZAR_DAWApplicationManager> _manager;
  std::shared_ptr<ZAR_DAWApplicationProTools> _driver;
};

void BM_AttributeRead(benchmark::State& state) {
  StandInSetup setup(8);
  if (!setup.ready(state)) return;
  const auto field = setup._driver->startTCTextfield();
  auto& accessibility = *setup._platform->accessibility;
  for (auto _ : state) {
    zar::platform::AXAttributeValue value;
    benchmark::DoNotOptimize(accessibility.copyAttributeValue(field, "AXValue", value));
  }
}
BENCHMARK(BM_AttributeRead)->Unit(benchmark::kMicrosecond);

// Rehearsing with every track in Play: each frame reads every track's input monitor and leaves
// the tracks as they are.
void BM_FrameUpdateSteadyState(benchmark::State& state) {
  const auto tracks = static_cast<int>(state.range(0));
  StandInSetup setup(tracks);
  if (!setup.ready(state)) return;
  const auto play = setup._manager->trackModeList()->audioTrackModes()->at(0);
  for (int i = 0; i < tracks; ++i) setup._manager->muteRecMatrix()->setRehearseMode(play, i);
  auto event = std::make_shared<ZAR_VisualEvent>();
  event->setStartTCString("01:00:00:00");
  event->setEndTCString("01:00:04:00");
  event->setInPointFrameIndex(1000);
  event->setEndFrameIndex(1100);
  setup._driver->rehearseWithEvent(event);
  setup._driver->updateDAWTrackStatesForFrameIndex(1050);  // the first frame of the cue settles the states
  for (auto _ : state) setup._driver->updateDAWTrackStatesForFrameIndex(1050);
  setup._driver->stopPlayback();
}
BENCHMARK(BM_FrameUpdateSteadyState)->Arg(8)->Arg(64)->Unit(benchmark::kMillisecond);

void BM_DiscoveryPass(benchmark::State& state) {
  StandInSetup setup(8);
  if (!setup.ready(state)) return;
  for (auto _ : state) setup._manager->refreshDAWs();
}
BENCHMARK(BM_DiscoveryPass)->Unit(benchmark::kMillisecond);

}  // namespace
