#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUIDevice.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"
#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using namespace std::chrono_literals;

/// A private JACK server on the dummy driver, killed with the test (and with this process).
class PrivateJackServer {
 public:
  PrivateJackServer() : _name("zar-test-" + std::to_string(::getpid())) {}
  ~PrivateJackServer() { stop(); }

  /// Starts jackd; false with a reason when it can't.
  bool start(std::string& reason) {
    _pid = ::fork();
    if (_pid < 0) {
      reason = "fork failed";
      return false;
    }
    if (_pid == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      std::freopen("/dev/null", "w", stdout);
      std::freopen("/dev/null", "w", stderr);
      // No realtime scheduling: test machines rarely allow it and the dummy driver needs none.
      ::execlp("jackd", "jackd", "-n", _name.c_str(), "-r", "-d", "dummy", "-r", "48000", "-p", "128",
               static_cast<char*>(nullptr));
      ::_exit(127);
    }
    ::setenv("JACK_DEFAULT_SERVER", _name.c_str(), 1);
    ::setenv("JACK_NO_START_SERVER", "1", 1);
    return true;
  }

  bool running() {
    if (_pid <= 0) return false;
    int status = 0;
    if (::waitpid(_pid, &status, WNOHANG) == _pid) {
      _pid = -1;
      return false;
    }
    return true;
  }

  void stop() {
    if (_pid <= 0) return;
    ::kill(_pid, SIGTERM);
    for (int i = 0; i < 50; ++i) {
      if (::waitpid(_pid, nullptr, WNOHANG) == _pid) {
        _pid = -1;
        return;
      }
      std::this_thread::sleep_for(20ms);
    }
    ::kill(_pid, SIGKILL);
    ::waitpid(_pid, nullptr, 0);
    _pid = -1;
  }

  pid_t pid() const { return _pid; }

 private:
  std::string _name;
  pid_t _pid = -1;
};

/// Ends a hung test: kills the server and aborts the test program.
class Watchdog {
 public:
  Watchdog(std::chrono::seconds limit, std::function<void()> onExpiry)
      : _thread([this, limit, onExpiry = std::move(onExpiry)] {
          std::unique_lock lock(_mutex);
          if (!_done.wait_for(lock, limit, [this] { return _cancelled; })) {
            onExpiry();
            std::fputs("JACK integration test hung; aborted by its watchdog\n", stderr);
            std::abort();
          }
        }) {}
  ~Watchdog() {
    {
      std::lock_guard lock(_mutex);
      _cancelled = true;
    }
    _done.notify_all();
    _thread.join();
  }

 private:
  std::mutex _mutex;
  std::condition_variable _done;
  bool _cancelled = false;
  std::thread _thread;
};

/// Polls `condition` in real time until it holds or `limit` passes.
bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < deadline) {
    if (condition()) return true;
    std::this_thread::sleep_for(10ms);
  }
  return condition();
}

TEST(RtMidiPortsJack, DeviceAnswersPingsAndTogglesAgainstAHostOverJack) {
  PrivateJackServer server;
  Watchdog watchdog(60s, [&server] { ::kill(server.pid(), SIGKILL); });
  std::string reason;
  if (!server.start(reason)) {
    GTEST_SKIP() << "JACK integration skipped: could not start jackd (" << reason << ")";
  }
  auto ports = std::make_shared<zar::native::RtMidiPorts>();
  const std::string portName = "ZAR_DAWControl HUI test";

  // The framework's side waits for the server to come up.
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
  if (!up || !system) {
    GTEST_SKIP() << "JACK integration skipped: jackd -d dummy did not start or accept clients on this machine";
  }

  auto platform = std::make_shared<zar::platform::Platform>(*zar::platform::Platform::current());
  auto previous = zar::platform::Platform::current();
  platform->clock = std::make_shared<zar::native::SystemClock>();
  // The host's timers stay idle: the test pings by hand, in real time.
  platform->mainRunLoop = std::make_shared<zar::native::MainRunLoop>(std::make_shared<zar::sim::VirtualClock>());
  zar::platform::Platform::install(platform);

  {
    ZAR_HUIDevice device(system);
    auto host = zar::sim::SimHUIHost::create(
        ports, zar::sim::SimHUIHost::defaultPortRequest(portName, "jack"), std::vector<std::string>(16, "Audio"), {});
    ASSERT_TRUE(host->portsOpen()) << "the test host could not connect to the framework's JACK ports";
    // JACK makes new connections live a little later; Pro Tools too pings until answered.
    const bool answered = eventually(
        [&] {
          if (host->pingRepliesReceived() > 0) return true;
          host->sendPing();
          std::this_thread::sleep_for(100ms);
          return host->pingRepliesReceived() > 0;
        },
        5000ms);
    EXPECT_TRUE(answered);
    EXPECT_TRUE(device.connected());
    device.toggleTrackRecEnabledForTrackIndex(9);
    EXPECT_TRUE(eventually([&] { return host->track(9)->recEnabled; }, 3000ms));
    EXPECT_FALSE(host->track(8)->recEnabled);
  }
  zar::platform::Platform::install(previous);
}

}  // namespace
