#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "CommandLine.h"
#include "Commands.h"
#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUIDevice.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/platform/sim/LoopbackMidiPorts.h"

namespace dawctl {

namespace {

// While it lives, what the MIDI libraries print on stderr (JACK prints some 25 lines when no
// server runs) goes to a scratch file; at the end each line goes to the log at debug level.
class BackendNoiseToLog {
 public:
  BackendNoiseToLog() : _file(std::tmpfile()) {
    std::fflush(stderr);
    _saved = _file ? dup(STDERR_FILENO) : -1;
    if (_saved >= 0) dup2(fileno(_file), STDERR_FILENO);
  }
  ~BackendNoiseToLog() {
    std::fflush(stderr);
    if (_saved >= 0) {
      dup2(_saved, STDERR_FILENO);
      close(_saved);
    }
    if (!_file) return;
    std::rewind(_file);
    char line[512];
    while (std::fgets(line, sizeof line, _file) != nullptr) {
      std::string text(line);
      while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
      if (!text.empty()) ZAR_LOG_DEBUG("MIDI backend: {}", text);
    }
    std::fclose(_file);
  }
  BackendNoiseToLog(const BackendNoiseToLog&) = delete;
  BackendNoiseToLog& operator=(const BackendNoiseToLog&) = delete;

 private:
  std::FILE* _file;
  int _saved = -1;
};

// One line for the cause, one for the next step, then the exit code.
[[noreturn]] void fail(const std::string& cause, const std::string& next, int exitCode) {
  fmt::print(stderr, "dawctl hui-check: {}\nnext: {}\n", cause, next);
  throw CLI::RuntimeError(exitCode);
}

std::string nextStepForPorts(const std::string& api) {
  if (api == "jack") return "start the JACK server (or use --api alsa), then run hui-check again";
  return "check that the ALSA sequencer is there (/dev/snd/seq; modprobe snd-seq), or use --api jack";
}

}  // namespace

void addHuiCheckCommand(CLI::App& app) {
  auto* command = app.add_subcommand(
      "hui-check", "Wait for Pro Tools to talk HUI on the framework's MIDI ports (exit 1: no ping; 3: ports can't open)");
  auto api = std::make_shared<std::string>(ZAR_MIDISystem::kDefaultBackend);
  auto seconds = std::make_shared<double>(5.0);
  command->add_option("--api", *api, "MIDI API (loopback: in-process ports no Pro Tools reaches)")
      ->check(CLI::IsMember({"alsa", "jack", zar::sim::LoopbackMidiPorts::kApi}))
      ->capture_default_str();
  command->add_option("--seconds", *seconds, "How long to wait for a ping")->check(secondsBetween(0, 3600))
      ->capture_default_str();
  command->callback([api, seconds] {
    auto platform = std::make_shared<zar::platform::Platform>(*zar::platform::Platform::current());
    platform->clock = std::make_shared<zar::native::SystemClock>();
    if (*api == zar::sim::LoopbackMidiPorts::kApi) {
      platform->midiPorts = std::make_shared<zar::sim::LoopbackMidiPorts>();
    } else {
      platform->midiPorts = std::make_shared<zar::native::RtMidiPorts>();
    }
    zar::platform::Platform::install(platform);

    auto request = ZAR_MIDISystem::huiPortRequestFromPreferences();
    request.api = *api;
    std::shared_ptr<ZAR_MIDISystem> system;
    std::unique_ptr<ZAR_HUIDevice> device;
    {
      BackendNoiseToLog quiet;
      system = std::make_shared<ZAR_MIDISystem>(platform->midiPorts, request);
      device = std::make_unique<ZAR_HUIDevice>(system);
    }
    if (system->huiPortDescription().empty()) {
      fail(fmt::format("cannot open the HUI MIDI ports \"{}\" on {}", request.name, *api), nextStepForPorts(*api),
           kExitPortsUnavailable);
    }
    fmt::print("HUI ports: {} ({}); pick them in Pro Tools' MIDI controllers, type HUI\n",
               system->huiPortDescription(), *api);
    std::fflush(stdout);
    const double deadline = platform->clock->now() + *seconds;
    while (!device->connected() && platform->clock->now() < deadline) {
      platform->clock->sleep(0.05);
    }
    const bool connected = device->connected();
    const auto pings = system->huiPingCount();
    const auto output = system->huiOutputCounts();
    {
      BackendNoiseToLog quiet;
      device.reset();
      system.reset();
    }
    if (!connected) {
      fail(fmt::format("Pro Tools did not ping the HUI ports within {} s ({} pings seen)", *seconds, pings),
           "in Pro Tools' Setup > Peripherals > MIDI Controllers choose type HUI with these ports, then run hui-check "
           "again",
           kExitFailure);
    }
    fmt::print("connected\npings seen: {}\nHUI messages sent: {} (not sent: {})\n", pings, output.sent, output.failed);
  });
}

}  // namespace dawctl
