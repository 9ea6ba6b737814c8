// The framework's own cost of a frame update, apart from the accessibility service's: the
// simulated Pro Tools with 64 tracks, every accessibility call made to wait as long as a call
// across processes does (first argument, microseconds), nothing to change in the frame.
// core_cpu_us is the process's CPU per frame outside the service's calls, access_cpu_us inside.

#include <benchmark/benchmark.h>
#include <time.h>

#include <memory>

#include "CountingAccessibility.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/default/SimulatedProToolsHost.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"

namespace {

double processCpuSeconds() {
  timespec now{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

void BM_SimulatedFrameUpdateNothingToChange(benchmark::State& state) {
  constexpr int kTracks = 64;
  std::shared_ptr<zar::bench::CountingAccessibility> counting;
  zar::platform::SimulatedProToolsHost::Options options;
  options.host = {"com.zar.bench", "bench"};
  options.virtualTime = true;  // the 0.2 s between input presses pass at once while settling
  options.proTools->tracks.clear();
  for (int i = 1; i <= kTracks; ++i) options.proTools->tracks.push_back({"Track " + std::to_string(i)});
  options.adjust = [&](zar::platform::Platform& platform) {
    counting = std::make_shared<zar::bench::CountingAccessibility>(platform.accessibility,
                                                                   std::chrono::microseconds(state.range(0)));
    platform.accessibility = counting;
  };
  zar::platform::SimulatedProToolsHost host(options);
  const auto manager = ZAR_DAWApplicationManager::sharedManager();
  manager->setAllowed(true);
  manager->setEnabled(true);
  host.runFor(2);  // Pro Tools' first HUI ping
  const auto driver = std::dynamic_pointer_cast<ZAR_DAWApplicationProTools>(manager->currentApplication());
  if (!driver) {
    state.SkipWithError("the framework did not find the simulated Pro Tools");
    return;
  }
  const auto& modes = *manager->trackModeList()->audioTrackModes();
  for (int i = 0; i < kTracks; ++i) manager->muteRecMatrix()->setRehearseMode(modes.at(i % 2 == 0 ? 2 : 0), i);
  auto event = std::make_shared<ZAR_VisualEvent>();
  event->setStartTCString("00:59:58:00");
  event->setEndTCString("01:00:04:12");
  event->setInPointFrameIndex(1000);
  event->setEndFrameIndex(1186);
  driver->rehearseWithEvent(event);
  for (int i = 0; i < kTracks; ++i) {  // one input press per 0.2 s
    driver->updateDAWTrackStatesForFrameIndex(1050);
    host.runFor(0.25);
  }
  const std::uint64_t calls = counting->calls();
  const double inCalls = counting->cpuInCalls();
  const double cpu = processCpuSeconds();
  for (auto _ : state) driver->updateDAWTrackStatesForFrameIndex(1050);
  const double frames = static_cast<double>(state.iterations());
  const double access = counting->cpuInCalls() - inCalls;
  state.counters["ax_calls"] = static_cast<double>(counting->calls() - calls) / frames;
  state.counters["access_cpu_us"] = access / frames * 1e6;
  state.counters["core_cpu_us"] = (processCpuSeconds() - cpu - access) / frames * 1e6;
  driver->stopPlayback();
  manager->setEnabled(false);
}
BENCHMARK(BM_SimulatedFrameUpdateNothingToChange)
    ->ArgName("latency_us")
    ->Arg(0)
    ->Arg(100)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime();

}  // namespace
