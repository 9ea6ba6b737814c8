#include "support/JackServer.h"

#include <cstdlib>
#include <thread>

#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"

namespace zar::test {

using namespace std::chrono_literals;

std::unique_ptr<ChildProcess> startJackServer(const std::string& name, int periodFrames) {
  // No realtime scheduling: test machines rarely allow it and the dummy driver needs none. A client
  // the loaded machine runs late is given 10 s before the server drops it. A period of 1024 frames
  // gives each port a MIDI buffer that holds the surface's first burst (bringing the bank home)
  // even when the process callback runs late.
  auto server = std::make_unique<ChildProcess>(std::vector<std::string>{"jackd", "-n", name, "-r", "-t", "10000", "-d",
                                                                        "dummy", "-r", "48000", "-p",
                                                                        std::to_string(periodFrames)});
  ::setenv("JACK_DEFAULT_SERVER", name.c_str(), 1);
  ::setenv("JACK_NO_START_SERVER", "1", 1);
  // The server takes clients a little after it starts.
  native::RtMidiPorts ports;
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (!ports.open({"jack", "zar-jack-probe", "", ""}, [](std::span<const std::uint8_t>) {})) {
    if (!server->running() || std::chrono::steady_clock::now() > deadline) return nullptr;
    std::this_thread::sleep_for(50ms);
  }
  return server;
}

}  // namespace zar::test
