#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "Commands.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUIDevice.h"
#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"

namespace dawctl {

void addHuiCheckCommand(CLI::App& app) {
  auto* command = app.add_subcommand("hui-check", "Wait for Pro Tools to talk HUI on the framework's MIDI ports");
  auto api = std::make_shared<std::string>("alsa");
  auto seconds = std::make_shared<double>(5.0);
  command->add_option("--api", *api, "MIDI API")->check(CLI::IsMember({"alsa", "jack"}))->capture_default_str();
  command->add_option("--seconds", *seconds, "How long to wait for a ping")->check(CLI::Range(0.0, 3600.0))
      ->capture_default_str();
  command->callback([api, seconds] {
    auto platform = std::make_shared<zar::platform::Platform>(*zar::platform::Platform::current());
    platform->clock = std::make_shared<zar::native::SystemClock>();
    platform->midiPorts = std::make_shared<zar::native::RtMidiPorts>();
    zar::platform::Platform::install(platform);

    auto request = ZAR_MIDISystem::huiPortRequestFromPreferences();
    request.api = *api;
    auto system = std::make_shared<ZAR_MIDISystem>(platform->midiPorts, request);
    ZAR_HUIDevice device(system);
    if (system->huiPortDescription().empty()) {
      fmt::print(stderr, "could not open the HUI MIDI ports \"{}\" on {}\n", request.name, *api);
      throw CLI::RuntimeError(1);
    }
    fmt::print("HUI ports: {} ({}); pick them in Pro Tools' MIDI controllers, type HUI\n",
               system->huiPortDescription(), *api);
    const double deadline = platform->clock->now() + *seconds;
    while (!device.connected() && platform->clock->now() < deadline) {
      platform->clock->sleep(0.05);
    }
    const bool connected = device.connected();
    fmt::print("{}\npings seen: {}\n", connected ? "connected" : "not connected", system->huiPingCount());
    if (!connected) {
      throw CLI::RuntimeError(1);
    }
  });
}

}  // namespace dawctl
