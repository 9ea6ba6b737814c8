// The HUI output over a real JACK server, against the stand-in Pro Tools (tools/protools-standin)
// under the tests' private X server (tests/support/DesktopSession): the framework arms every track
// of a 64-track session at once, as a pass that arms everything does, and the stand-in prints every
// message it receives. Arguments: the JACK period in frames (48 kHz, dummy driver), how long the
// stand-in's JACK process callback holds each HUI message it receives (microseconds: a busy Pro
// Tools), and the pace of the HUI output in baud ("ZAR_MIDIHUIBaudRate"; 0: as fast as the port
// takes them).
//
// Time (manual) runs from the first toggle to the stand-in's 64th "record on", or to the 10 s after
// which the run gives up. Counters of a run, from the moment the ports opened: the messages the
// framework handed to JACK (sent); of those, the ones that never reached the stand-in whole and in
// order (lost); what the stand-in received that the framework never sent (garbled: JACK hands a
// late reader a buffer the writer's next period is already refilling); the tracks the stand-in
// shows armed at the end (armed: 64) and how often it changed a record enable (toggled: 64).

#include <benchmark/benchmark.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"
#include "ZAR_DAWControl/platform/midi/MidiMessageSplitter.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUIDevice.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "support/ChildProcess.h"
#include "support/DesktopSession.h"
#include "support/JackServer.h"
#include "support/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;
using zar::test::ChildProcess;

constexpr int kTracks = 64;

using Message = std::vector<std::uint8_t>;

// The backend's ports, keeping the messages handed to them.
class RecordingPorts final : public zar::platform::MidiPorts {
 public:
  explicit RecordingPorts(std::shared_ptr<zar::platform::MidiPorts> inner) : _inner(std::move(inner)) {}
  std::shared_ptr<zar::platform::MidiPortPair> open(const zar::platform::MidiPortRequest& request,
                                                    zar::platform::MidiReceiver receiver, std::string* error) override {
    auto pair = _inner->open(request, std::move(receiver), error);
    return pair ? std::make_shared<Pair>(std::move(pair), _sent) : nullptr;
  }
  std::vector<Message> sent() const { return _sent->take(); }

 private:
  struct Sent {
    std::vector<Message> take() const {
      std::lock_guard lock(mutex);
      return messages;
    }
    mutable std::mutex mutex;
    zar::platform::MidiMessageSplitter splitter;
    std::vector<Message> messages;
  };
  class Pair final : public zar::platform::MidiPortPair {
   public:
    Pair(std::shared_ptr<zar::platform::MidiPortPair> inner, std::shared_ptr<Sent> sent)
        : _inner(std::move(inner)), _sent(std::move(sent)) {}
    bool send(std::span<const std::uint8_t> bytes) override {
      const bool sent = _inner->send(bytes);
      std::lock_guard lock(_sent->mutex);
      for (auto& message : _sent->splitter.split(bytes)) {
        if (sent) _sent->messages.push_back(std::move(message));
      }
      return sent;
    }
    std::string inputName() const override { return _inner->inputName(); }
    std::string outputName() const override { return _inner->outputName(); }

   private:
    std::shared_ptr<zar::platform::MidiPortPair> _inner;
    std::shared_ptr<Sent> _sent;
  };

  std::shared_ptr<zar::platform::MidiPorts> _inner;
  std::shared_ptr<Sent> _sent = std::make_shared<Sent>();
};

// The messages the stand-in printed as received ("hui in B0 0F 0E").
std::vector<Message> receivedMessages(const ChildProcess& standIn) {
  std::vector<Message> received;
  for (const auto& line : standIn.lines()) {
    if (line.rfind("hui in ", 0) != 0) continue;
    Message message;
    for (std::size_t at = 7; at + 2 <= line.size(); at += 3) {
      message.push_back(static_cast<std::uint8_t>(std::stoul(line.substr(at, 2), nullptr, 16)));
    }
    received.push_back(std::move(message));
  }
  return received;
}

// How many messages arrived whole and in order: the longest common subsequence.
std::size_t arrivedInOrder(const std::vector<Message>& sent, const std::vector<Message>& received) {
  std::vector<std::size_t> row(received.size() + 1, 0);
  for (const auto& message : sent) {
    std::size_t diagonal = 0;
    for (std::size_t j = 1; j <= received.size(); ++j) {
      const std::size_t above = row[j];
      row[j] = message == received[j - 1] ? diagonal + 1 : std::max(row[j], row[j - 1]);
      diagonal = above;
    }
  }
  return row.back();
}

// Runs the main loop (the HUI device's timers) until `condition` holds or `patience` has passed.
template <typename Condition>
bool runUntil(zar::platform::RunLoop& loop, Condition condition, std::chrono::milliseconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    loop.runFor(0.005);
  }
  return true;
}

// The tracks the stand-in shows armed at the end, and how often it changed a record enable.
std::pair<int, int> armedAndToggled(const ChildProcess& standIn) {
  std::map<int, bool> armed;
  int toggles = 0;
  for (const auto& line : standIn.lines()) {
    int track = 0;
    char state[4] = {};
    if (std::sscanf(line.c_str(), "track %d record %3s", &track, state) == 2) {
      armed[track] = std::string(state) == "on";
      ++toggles;
    }
  }
  int count = 0;
  for (const auto& [track, on] : armed) count += on ? 1 : 0;
  return {count, toggles};
}

void BM_ArmEveryTrackOverJack(benchmark::State& state) {
  const int period = static_cast<int>(state.range(0));
  const int receiveDelay = static_cast<int>(state.range(1));
  const int baud = static_cast<int>(state.range(2));
  if (!zar::test::DesktopSession::shared().started()) {
    state.SkipWithError(zar::test::DesktopSession::shared().reason().c_str());
    return;
  }
  const std::string name = "zar-pace-" + std::to_string(::getpid()) + "-" + std::to_string(period);
  const auto jack = zar::test::startJackServer(name, period);
  if (!jack) {
    state.SkipWithError("jackd did not start");
    return;
  }
  zar::test::TemporaryDirectory support;
  zar::platform::DefaultPlatformOptions options;
  options.host = {"com.zar.bench", "bench"};
  options.preferencesInMemory = true;
  options.supportDirectory = support.path();
  const auto platform = zar::platform::buildDefaultPlatform(options).platform;
  auto ports = std::make_shared<RecordingPorts>(platform->midiPorts);
  platform->midiPorts = ports;
  const std::string port = "ZAR pace HUI " + std::to_string(::getpid());
  platform->userDefaults->registerDefaults({{ZAR_MIDISystem::kBackendPrefKey, "jack"},
                                            {ZAR_MIDISystem::kHUIPortNamePrefKey, port},
                                            {ZAR_MIDISystem::kHUIBaudRatePrefKey, baud}});
  zar::platform::Platform::install(platform);
  {
    ChildProcess standIn({ZAR_STANDIN_PATH, "--session", "Pace", "--tracks", std::to_string(kTracks), "--hui-port",
                          port, "--hui-receive-delay", std::to_string(receiveDelay), "--print-hui"});
    auto system = std::make_shared<ZAR_MIDISystem>(ports, ZAR_MIDISystem::huiPortRequestFromPreferences());
    auto device = std::make_shared<ZAR_HUIDevice>(system);
    device->setTrackCount(kTracks);
    auto& loop = *platform->mainRunLoop;
    if (!standIn.waitForLine("ready", 10s) ||
        !runUntil(loop, [&] { return standIn.count("hui ping answered") > 0 && device->lampsKnown(); }, 30s)) {
      state.SkipWithError("the stand-in never talked HUI with the framework");
    } else {
      const auto before = ports->sent().size();
      for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        for (int track = 0; track < kTracks; ++track) device->toggleTrackRecEnabledForTrackIndex(track);
        runUntil(loop, [&] { return standIn.count("record on") >= kTracks; }, 10s);
        state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
      }
      // Stragglers arrive; the stand-in stops pinging (HUI unselected), so that no reply is on its
      // way when it is asked (its answer comes after everything it received before).
      runUntil(loop, [] { return false; }, 1s);
      ::kill(standIn.pid(), SIGUSR1);
      runUntil(loop, [] { return false; }, 1500ms);
      standIn.send("say counted");
      standIn.waitForLine("counted", 5s);
      const auto sent = ports->sent();
      const auto received = receivedMessages(standIn);
      const auto whole = arrivedInOrder(sent, received);
      const auto [armed, toggled] = armedAndToggled(standIn);
      state.counters["sent"] = static_cast<double>(sent.size());
      state.counters["burst"] = static_cast<double>(sent.size() - before);
      state.counters["lost"] = static_cast<double>(sent.size() - whole);
      state.counters["garbled"] = static_cast<double>(received.size() - whole);
      state.counters["armed"] = armed;
      state.counters["toggled"] = toggled;
    }
    device.reset();
    system.reset();  // its JACK client leaves before the server stops
  }
  zar::platform::Platform::install(nullptr);
}

}  // namespace

BENCHMARK(BM_ArmEveryTrackOverJack)
    ->ArgNames({"period", "delay_us", "baud"})
    ->ArgsProduct({{256, 1024, 4096}, {0, 300}, {0, 31250}})
    ->Iterations(1)
    ->Repetitions(2)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
