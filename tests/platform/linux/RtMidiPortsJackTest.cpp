#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUIDevice.h"
#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "support/Rendezvous.h"
#include "support/Watchdog.h"

namespace {

using namespace std::chrono_literals;
using zar::test::eventually;

/// A private JACK server on the dummy driver, killed with the test (and with this process).
class PrivateJackServer {
 public:
  PrivateJackServer() {
    _pid = ::fork();
    if (_pid == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      std::freopen("/dev/null", "w", stdout);
      std::freopen("/dev/null", "w", stderr);
      // No realtime scheduling: test machines rarely allow it and the dummy driver needs none.
      // A period of 1024 frames gives each port a MIDI buffer that holds the surface's first burst
      // (bringing the bank home) even when a slow build runs the process callback late.
      ::execlp("jackd", "jackd", "-n", _name.c_str(), "-r", "-t", "10000", "-d", "dummy", "-r", "48000", "-p", "1024",
               static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::setenv("JACK_DEFAULT_SERVER", _name.c_str(), 1);
    ::setenv("JACK_NO_START_SERVER", "1", 1);
  }
  ~PrivateJackServer() {
    if (!running()) return;
    ::kill(_pid, SIGTERM);
    if (!eventually([this] { return !running(); }, 1000ms)) {
      ::kill(_pid, SIGKILL);
      ::waitpid(_pid, nullptr, 0);
    }
  }
  bool running() {
    if (_pid > 0 && ::waitpid(_pid, nullptr, WNOHANG) == _pid) _pid = -1;
    return _pid > 0;
  }
  void kill() { ::kill(_pid, SIGKILL); }

 private:
  // One name for every run (JACK tests run one at a time): a killed server's entry in JACK's table of
  // eight servers is taken over only by a server of the same name.
  const std::string _name = "zar-jack-test";
  pid_t _pid = -1;
};

// The framework's HUI device against the simulated Pro Tools, over a real JACK server: the ports
// connect, pings are answered and a record toggle reaches the host's track through a bank move.
TEST(RtMidiPortsJack, DeviceAnswersPingsAndTogglesAgainstAHostOverJack) {
  PrivateJackServer server;
  zar::test::Watchdog watchdog(60s, [&server] {
    server.kill();
    std::fputs("JACK integration test hung; aborted by its watchdog\n", stderr);
    std::abort();
  });
  auto ports = std::make_shared<zar::native::RtMidiPorts>();
  const std::string portName = "ZAR_DAWControl HUI test";
  std::shared_ptr<ZAR_MIDISystem> system;
  const bool up = eventually(
      [&] {
        if (!server.running()) return true;
        auto candidate = std::make_shared<ZAR_MIDISystem>(ports, zar::platform::MidiPortRequest{"jack", portName, "", ""});
        if (!candidate->openHUIPort()) return false;
        system = candidate;
        return true;
      },
      5000ms);
  if (!up || !system) GTEST_SKIP() << "JACK integration skipped: jackd -d dummy did not start or accept clients";

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

}  // namespace
