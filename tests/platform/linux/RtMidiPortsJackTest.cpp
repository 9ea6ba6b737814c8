#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUIDevice.h"
#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "support/JackServer.h"
#include "support/Rendezvous.h"
#include "support/Watchdog.h"

namespace {

using namespace std::chrono_literals;
using zar::test::eventually;

// The framework's HUI device against the simulated Pro Tools, over a real JACK server: the ports
// connect, pings are answered and a record toggle reaches the host's track through a bank move.
TEST(RtMidiPortsJack, DeviceAnswersPingsAndTogglesAgainstAHostOverJack) {
  // One name for every run (JACK tests run one at a time): a killed server's entry in JACK's table of
  // eight servers is taken over only by a server of the same name.
  const auto server = zar::test::startJackServer("zar-jack-test");
  if (!server) GTEST_SKIP() << "JACK integration skipped: jackd -d dummy did not start or accept clients";
  zar::test::Watchdog watchdog(60s, [] {
    std::fputs("JACK integration test hung; aborted by its watchdog\n", stderr);
    std::abort();  // the server dies with this process
  });
  auto ports = std::make_shared<zar::native::RtMidiPorts>();
  const std::string portName = "ZAR_DAWControl HUI test";
  auto system = std::make_shared<ZAR_MIDISystem>(ports, zar::platform::MidiPortRequest{"jack", portName, "", ""});
  ASSERT_TRUE(system->openHUIPort());

  const auto previous = zar::platform::Platform::current();
  auto platform = std::make_shared<zar::platform::Platform>(*previous);
  platform->clock = std::make_shared<zar::native::SystemClock>();
  // The host's timers stay idle: the test pings by hand, in real time.
  platform->mainRunLoop = std::make_shared<zar::native::MainRunLoop>(std::make_shared<zar::sim::VirtualClock>());
  zar::platform::Platform::install(platform);
  {
    ZAR_HUIDevice device(system);
    auto host = zar::sim::SimHUIHost::create(ports, zar::sim::SimHUIHost::defaultPortRequest(portName, "jack"),
                                             std::vector<std::string>(16, "Audio"), {});
    ASSERT_TRUE(host->portsOpen()) << "the test host could not connect to the framework's JACK ports";
    // JACK makes new connections live a little later; Pro Tools too pings until answered.
    EXPECT_TRUE(eventually([&] {
      host->sendPing();
      return eventually([&] { return host->pingRepliesReceived() > 0; }, 100ms);
    }));
    EXPECT_TRUE(device.connected());
    device.toggleTrackRecEnabledForTrackIndex(9);
    EXPECT_TRUE(eventually([&] { return host->track(9)->recEnabled; }, 3000ms));
    EXPECT_FALSE(host->track(8)->recEnabled);
  }
  zar::platform::Platform::install(previous);
}

// The server is killed under open ports. Sends fail at once rather than wait for a server that is
// gone; an open meanwhile fails, and has libjack delete the process's dead clients (RtMidi's ports
// crashed when closed after that); closing doesn't touch them; a new server takes ports again.
TEST(RtMidiPortsJack, PortsOutliveTheirServer) {
  auto server = zar::test::startJackServer("zar-jack-test");
  if (!server) GTEST_SKIP() << "JACK integration skipped: jackd -d dummy did not start or accept clients";
  zar::test::Watchdog watchdog(60s, [] {
    std::fputs("JACK server loss test hung; aborted by its watchdog\n", stderr);
    std::abort();
  });
  zar::native::RtMidiPorts ports;
  const zar::platform::MidiPortRequest request{"jack", "ZAR_DAWControl loss test", "", ""};
  const std::vector<std::uint8_t> note{0x90, 0x40, 0x7F};
  auto pair = ports.open(request, [](std::span<const std::uint8_t>) {});
  ASSERT_TRUE(pair);
  EXPECT_TRUE(pair->send(note));

  server->kill(SIGKILL);
  EXPECT_TRUE(eventually([&] { return !pair->send(note); }));
  std::string error;
  EXPECT_FALSE(ports.open(request, [](std::span<const std::uint8_t>) {}, &error));
  EXPECT_EQ(error, "no JACK server is running");
  pair.reset();

  server = zar::test::startJackServer("zar-jack-test");
  ASSERT_TRUE(server);
  pair = ports.open(request, [](std::span<const std::uint8_t>) {});
  ASSERT_TRUE(pair);
  EXPECT_TRUE(pair->send(note));
}

}  // namespace
