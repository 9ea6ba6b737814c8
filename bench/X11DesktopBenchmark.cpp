// The real desktop: the X11 backend against the stand-in Pro Tools under a private Xvfb,
// accessibility bus and JACK server (tests/support/DesktopSession). Each benchmark runs with the
// accessibility mirror (last argument 1) and without it (0: every read asks the bus, the way
// before the mirror), so one run gives both. Time is wall time, CPU the whole process's (the bus's
// reading thread and the background confirmation included); the counters give, per iteration, the
// framework's accessibility calls (ax_calls) and the D-Bus messages the measured thread sent and
// waited for (bus_msgs).

#include <benchmark/benchmark.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "CountingAccessibility.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/platform/x11/AtspiConnection.h"
#include "ZAR_DAWControl/platform/x11/X11Accessibility.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"
#include "support/ChildProcess.h"
#include "support/DesktopSession.h"
#include "support/TakeCue.h"
#include "support/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;
using zar::test::ChildProcess;

constexpr double kFramePeriod = 1.0 / 24;

std::shared_ptr<ZAR_DAWAudioTrackMode> modeNamed(const std::string& name) {
  for (const auto& mode : *ZAR_DAWApplicationManager::sharedManager()->trackModeList()->audioTrackModes()) {
    if (mode->name() == name) return mode;
  }
  return nullptr;
}

// The framework on the X11 desktop, enabled against a stand-in with `tracks` tracks, talking HUI
// with it, its accessibility calls counted.
class StandInSetup {
 public:
  StandInSetup(int tracks, bool mirror) : _tracks(tracks) {
    if (!zar::test::DesktopSession::shared().started()) return;  // before the desktop connects to it
    static int count = 0;
    const std::string port = "ZAR bench HUI " + std::to_string(::getpid()) + "-" + std::to_string(++count);
    zar::platform::DefaultPlatformOptions options;
    options.host = {"com.zar.bench", "bench"};
    options.desktop = zar::platform::Desktop::x11;
    options.accessibilityMirror = mirror;
    options.preferencesInMemory = true;
    options.supportDirectory = _support.path();
    _platform = zar::platform::buildDefaultPlatform(options).platform;
    _x11 = std::dynamic_pointer_cast<zar::x11::X11Accessibility>(_platform->accessibility);
    _counting = std::make_shared<zar::bench::CountingAccessibility>(_platform->accessibility);
    _platform->accessibility = _counting;
    _platform->userDefaults->registerDefaults(
        {{ZAR_MIDISystem::kBackendPrefKey, "jack"}, {ZAR_MIDISystem::kHUIPortNamePrefKey, port}});
    zar::platform::Platform::install(_platform);
    _standIn = std::make_unique<ChildProcess>(
        std::vector<std::string>{ZAR_STANDIN_PATH, "--hui-port", port, "--tracks", std::to_string(tracks)});
    if (!_standIn->waitForLine("ready", 10s)) return;
    if (!waitFor([&] { return _platform->workspace->runningApplicationWithProcessIdentifier(_standIn->pid()) != nullptr; })) {
      return;
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

  // Rehearses a cue with even positions in Input and odd ones in Play, and plays frames of the cue
  // until the stand-in shows every state asked for: from then on a frame has nothing to change.
  bool rehearseUntilSettled(benchmark::State& state) {
    const auto input = modeNamed("Input");
    const auto play = modeNamed("Play");
    for (int i = 0; i < _tracks; ++i) _manager->muteRecMatrix()->setRehearseMode(i % 2 == 0 ? input : play, i);
    _driver->rehearseWithEvent(_cue);
    const bool settled = waitFor([&] {
      _driver->updateDAWTrackStatesForFrameIndex(1050);
      // The matrix has 64 positions: tracks below them have no mode and play.
      return static_cast<int>(_standIn->count(" input on")) >= (std::min(_tracks, 64) + 1) / 2;
    });
    if (!settled) state.SkipWithError("the stand-in never showed the modes' states");
    return settled;
  }

  // Counts, per iteration, what the measured loop made of the framework and the bus.
  struct Tally {
    std::uint64_t calls = 0;
    std::uint64_t messages = 0;
  };
  Tally tally() const { return {_counting->calls(), zar::x11::AtspiConnection::sentOnThisThread()}; }
  static void report(benchmark::State& state, const Tally& spent) {
    const auto iterations = static_cast<double>(std::max<benchmark::IterationCount>(state.iterations(), 1));
    state.counters["ax_calls"] = static_cast<double>(spent.calls) / iterations;
    state.counters["bus_msgs"] = static_cast<double>(spent.messages) / iterations;
  }
  // Runs `work` measured, in a benchmark paused around it, and adds to `spent` what it cost.
  template <typename Work>
  void measure(benchmark::State& state, Tally& spent, Work work) const {
    const Tally before = tally();
    state.ResumeTiming();
    work();
    state.PauseTiming();
    const Tally after = tally();
    spent.calls += after.calls - before.calls;
    spent.messages += after.messages - before.messages;
  }

  template <typename Condition>
  static bool waitFor(Condition condition, std::chrono::seconds patience = 60s) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      std::this_thread::sleep_for(20ms);
    }
    return true;
  }

  const int _tracks;
  // The host keeps its cue; the framework only refers to it.
  const std::shared_ptr<ZAR_VisualEvent> _cue = zar::test::takeCue();
  zar::test::TemporaryDirectory _support;
  std::shared_ptr<zar::platform::Platform> _platform;
  std::shared_ptr<zar::x11::X11Accessibility> _x11;
  std::shared_ptr<zar::bench::CountingAccessibility> _counting;
  std::unique_ptr<ChildProcess> _standIn;
  std::shared_ptr<ZAR_DAWApplicationManager> _manager;
  std::shared_ptr<ZAR_DAWApplicationProTools> _driver;
};

void withBothWays(benchmark::internal::Benchmark* benchmark, std::initializer_list<int> tracks) {
  for (const int count : tracks) {
    for (const int mirror : {0, 1}) benchmark->Args({count, mirror});
  }
  benchmark->ArgNames({"tracks", "mirror"})->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();
}

// A frame of a rehearsal that has nothing to change: every track already shows its mode's state.
void BM_FrameUpdateNothingToChange(benchmark::State& state) {
  StandInSetup setup(static_cast<int>(state.range(0)), state.range(1) != 0);
  if (!setup.ready(state) || !setup.rehearseUntilSettled(state)) return;
  const auto before = setup.tally();
  for (auto _ : state) setup._driver->updateDAWTrackStatesForFrameIndex(1050);
  const auto after = setup.tally();
  StandInSetup::report(state, {after.calls - before.calls, after.messages - before.messages});
  setup._driver->stopPlayback();
}
BENCHMARK(BM_FrameUpdateNothingToChange)->Apply([](auto* b) { withBothWays(b, {8, 64, 128}); });

// The refresh tick on the main thread when nothing changed in Pro Tools.
void BM_RefreshTickNothingChanged(benchmark::State& state) {
  StandInSetup setup(static_cast<int>(state.range(0)), state.range(1) != 0);
  if (!setup.ready(state)) return;
  setup._driver->onUIRefreshTimerRanOut(nullptr);
  const auto before = setup.tally();
  for (auto _ : state) setup._driver->onUIRefreshTimerRanOut(nullptr);
  const auto after = setup.tally();
  StandInSetup::report(state, {after.calls - before.calls, after.messages - before.messages});
}
BENCHMARK(BM_RefreshTickNothingChanged)->Apply([](auto* b) { withBothWays(b, {8, 64, 128}); });

// The refresh tick after the user changed one track in Pro Tools (third argument): 0 renamed it,
// 1 added a track and removed it again on the next change, 2 moved the first track down and back.
void BM_RefreshTickAfterOneChange(benchmark::State& state) {
  StandInSetup setup(static_cast<int>(state.range(0)), state.range(1) != 0);
  if (!setup.ready(state)) return;
  setup._driver->onUIRefreshTimerRanOut(nullptr);
  const int tracks = static_cast<int>(state.range(0));
  StandInSetup::Tally spent;
  int changes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    const bool odd = (changes++ % 2) != 0;
    std::string command;
    switch (state.range(2)) {
      case 0: command = "rename 3 " + std::string(odd ? "Dialog B" : "Dialog A"); break;
      case 1: command = odd ? "remove " + std::to_string(tracks) : "add Extra"; break;
      default: command = odd ? "move 1 0" : "move 0 1"; break;
    }
    const std::size_t said = setup._standIn->lines().size();
    setup._standIn->send(command);
    StandInSetup::waitFor([&] { return setup._standIn->lines().size() > said; });
    std::this_thread::sleep_for(30ms);  // the announcement of the change reaches the mirror
    setup.measure(state, spent, [&] { setup._driver->onUIRefreshTimerRanOut(nullptr); });
    state.ResumeTiming();
  }
  StandInSetup::report(state, spent);
}
BENCHMARK(BM_RefreshTickAfterOneChange)
    ->ArgNames({"tracks", "mirror", "change"})
    ->ArgsProduct({{64}, {0, 1}, {0, 1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime()
    ->Iterations(20);

// Discovery of a Pro Tools that just started: the discovery pass that finds it, its windows,
// counters and tracks. A new stand-in each iteration, started outside the measurement.
void BM_DiscoveryOfAStandInJustStarted(benchmark::State& state) {
  StandInSetup setup(static_cast<int>(state.range(0)), state.range(1) != 0);
  if (!setup.ready(state)) return;
  StandInSetup::Tally spent;
  for (auto _ : state) {
    state.PauseTiming();
    setup._standIn.reset();
    setup._manager->refreshDAWs();  // Removed
    setup._standIn = std::make_unique<ChildProcess>(
        std::vector<std::string>{ZAR_STANDIN_PATH, "--no-hui", "--tracks", std::to_string(state.range(0))});
    const auto pid = setup._standIn->pid();
    if (!setup._standIn->waitForLine("ready", 10s) ||
        !StandInSetup::waitFor([&] { return setup._platform->workspace->runningApplicationWithProcessIdentifier(pid) != nullptr; })) {
      state.SkipWithError("the stand-in did not start");
      return;
    }
    setup.measure(state, spent, [&] { setup._manager->refreshDAWs(); });
    if (!setup._manager->currentApplication() || setup._manager->currentApplication()->audioTracks().size() !=
                                                     static_cast<std::size_t>(state.range(0))) {
      state.SkipWithError("the discovery pass did not find the stand-in's tracks");
      return;
    }
    state.ResumeTiming();
  }
  StandInSetup::report(state, spent);
}
BENCHMARK(BM_DiscoveryOfAStandInJustStarted)
    ->ArgNames({"tracks", "mirror"})
    ->ArgsProduct({{64}, {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime()
    ->Iterations(5);

// Ten seconds of a host playing picture at 24 fps through a rehearsal, with the refresh tick every
// 3 s: all the D-Bus messages the process sends a second (bus_msgs_per_s: the frames' and ticks',
// and the mirror's background confirmation) and its CPU a second (cpu_ms_per_s).
void BM_TenSecondsOfPlay(benchmark::State& state) {
  StandInSetup setup(static_cast<int>(state.range(0)), state.range(1) != 0);
  if (!setup.ready(state) || !setup.rehearseUntilSettled(state)) return;
  const auto cpu = [] {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
  };
  const std::uint64_t messages = setup._x11->mirror()->transport().messagesSent();
  const double cpuBefore = cpu();
  double seconds = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    auto next = start;
    for (int frame = 0; frame < 240; ++frame) {
      setup._driver->updateDAWTrackStatesForFrameIndex(1050);
      if (frame % 72 == 0) setup._driver->onUIRefreshTimerRanOut(nullptr);
      next += std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(kFramePeriod));
      std::this_thread::sleep_until(next);
    }
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  state.counters["bus_msgs_per_s"] =
      static_cast<double>(setup._x11->mirror()->transport().messagesSent() - messages) / seconds;
  state.counters["cpu_ms_per_s"] = (cpu() - cpuBefore) * 1000 / seconds;
}
BENCHMARK(BM_TenSecondsOfPlay)
    ->ArgNames({"tracks", "mirror"})
    ->ArgsProduct({{64}, {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1);

// A user switches a Play track's input monitor on in Pro Tools while the picture plays at 24 fps
// and every core is busy with other work: the time from the stand-in's being told to the frame
// update that presses the button again (manual time), and the frame updates played in that time
// (frames). Both include the stand-in's own delay in taking the user's change.
void BM_CorrectionLatencyUnderLoad(benchmark::State& state) {
  StandInSetup setup(static_cast<int>(state.range(0)), state.range(1) != 0);
  if (!setup.ready(state) || !setup.rehearseUntilSettled(state)) return;
  std::vector<std::unique_ptr<ChildProcess>> load;
  for (unsigned i = 0; i < std::max(2U, std::thread::hardware_concurrency()); ++i) {
    load.push_back(std::make_unique<ChildProcess>(std::vector<std::string>{"sh", "-c", "while :; do :; done"}));
  }
  std::uint64_t frames = 0;
  int round = 0;
  for (auto _ : state) {
    std::this_thread::sleep_for(300ms);  // past the framework's 0.2 s between input presses
    const int track = 1 + 2 * (round++ % (setup._tracks / 2));
    const std::uint64_t presses = setup._counting->presses();
    const auto start = std::chrono::steady_clock::now();
    setup._standIn->send("input " + std::to_string(track) + " on");
    auto next = start;
    while (setup._counting->presses() == presses) {
      if (std::chrono::steady_clock::now() - start > 10s) {
        state.SkipWithError("the framework never corrected the input monitor");
        return;
      }
      next += std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(kFramePeriod));
      std::this_thread::sleep_until(next);
      setup._driver->updateDAWTrackStatesForFrameIndex(1050);
      ++frames;
    }
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    if (!setup._standIn->waitForLine("track " + std::to_string(track) + " input off", 10s)) {
      state.SkipWithError("the stand-in did not show the correction");
      return;
    }
  }
  state.counters["frames"] = static_cast<double>(frames) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_CorrectionLatencyUnderLoad)
    ->ArgNames({"tracks", "mirror"})
    ->ArgsProduct({{64}, {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(20);

}  // namespace
