// HUI over the loopback: a toggle with a bank move, from the call to the bytes at the host, and
// a burst of messages that must all arrive.

#include <benchmark/benchmark.h>

#include <atomic>
#include <memory>
#include <vector>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUIDevice.h"
#include "ZAR_DAWControl/platform/sim/LoopbackMidiPorts.h"
#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::sim::LoopbackMidiPorts;
using zar::sim::SimHUIHost;

void BM_ToggleWithBankMove(benchmark::State& state) {
  auto clock = std::make_shared<zar::sim::VirtualClock>();
  auto platform = std::make_shared<zar::platform::Platform>();
  platform->clock = clock;
  zar::platform::Platform::install(platform);
  auto loopback = std::make_shared<LoopbackMidiPorts>();
  auto system = std::make_shared<ZAR_MIDISystem>(
      loopback, zar::platform::MidiPortRequest{"loopback", ZAR_MIDISystem::kDefaultHUIPortName, "", ""});
  ZAR_HUIDevice device(system);
  // No run loop: the host neither pings nor flashes on its own; the benchmark pings by hand.
  auto host = SimHUIHost::create(loopback, SimHUIHost::defaultPortRequest(ZAR_MIDISystem::kDefaultHUIPortName, "loopback"),
                                 std::vector<std::string>(64, "Audio"), {});
  host->sendPing();
  loopback->waitUntilIdle();
  device.toggleTrackMuteForTrackIndex(0);  // learn the position once
  loopback->waitUntilIdle();
  int track = 63;
  for (auto _ : state) {
    // Alternating between the two ends: every toggle moves the bank across the session.
    device.toggleTrackMuteForTrackIndex(track);
    loopback->waitUntilIdle();
    track = track == 63 ? 0 : 63;
    if (!device.connected()) {  // keep the position trusted
      host->sendPing();
      loopback->waitUntilIdle();
    }
  }
  state.counters["messages"] = benchmark::Counter(static_cast<double>(loopback->deliveredCount()),
                                                  benchmark::Counter::kAvgIterations);
  host.reset();
  zar::platform::Platform::install(nullptr);
}
BENCHMARK(BM_ToggleWithBankMove)->Unit(benchmark::kMicrosecond);

void BM_BurstOfThousandMessages(benchmark::State& state) {
  LoopbackMidiPorts loopback;
  std::atomic<std::uint64_t> received{0};
  auto sink = loopback.open({"loopback", "burst", "", ""}, [&](std::span<const std::uint8_t> bytes) {
    received.fetch_add(bytes.size() / 3, std::memory_order_relaxed);
  });
  auto source = loopback.open({"loopback", "sender", "burst", "burst"}, [](std::span<const std::uint8_t>) {});
  const std::uint8_t message[3] = {0xB0, 0x2C, 0x42};
  std::uint64_t sent = 0;
  for (auto _ : state) {
    for (int i = 0; i < 1000; ++i) {
      source->send(message);
    }
    sent += 1000;
    loopback.waitUntilIdle();
  }
  if (received.load() != sent) {
    state.SkipWithError("messages were lost");
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(sent));
}
BENCHMARK(BM_BurstOfThousandMessages)->Unit(benchmark::kMicrosecond);

}  // namespace
