#include "support/DesktopSession.h"

#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/JackServer.h"

namespace zar::test {

using namespace std::chrono_literals;

namespace {

// The processes that `parent` started.
std::vector<pid_t> childrenOf(pid_t parent) {
  std::ifstream file("/proc/" + std::to_string(parent) + "/task/" + std::to_string(parent) + "/children");
  return {std::istream_iterator<pid_t>(file), std::istream_iterator<pid_t>()};
}

void killAndReap(pid_t pid) {
  ::kill(pid, SIGKILL);
  // Not our child: gone once /proc no longer has it.
  for (int i = 0; i < 200 && ::kill(pid, 0) == 0; ++i) std::this_thread::sleep_for(10ms);
}

}  // namespace

DesktopSession& DesktopSession::shared() {
  // Destroyed at exit, which ends its servers gracefully: a JACK server that is killed leaves its
  // entry in JACK's table of servers behind.
  static DesktopSession session;
  return session;
}

DesktopSession::DesktopSession() {
  _started = startXServer() && startSessionBus() && startAccessibilityBus() && startJack();
}

bool DesktopSession::startXServer() {
  std::vector<std::string> arguments{"Xvfb", "-displayfd", "1", "-screen", "0", "1600x1200x24", "-nolisten", "tcp"};
  // The first server picks a free display; a server started again takes the same one.
  if (!_display.empty()) arguments.insert(arguments.begin() + 1, ":" + _display);
  _xvfb = std::make_unique<ChildProcess>(arguments);
  const auto display = _xvfb->waitForLine("", 10s);
  if (!display || display->empty()) {
    _reason = "no X server: Xvfb could not start";
    return false;
  }
  _display = *display;
  ::setenv("DISPLAY", (":" + _display).c_str(), 1);
  return true;
}

bool DesktopSession::startSessionBus() {
  const std::string socket = _directory.path() + "/session-bus";
  std::filesystem::remove(socket);  // left behind by a daemon killed
  _bus = std::make_unique<ChildProcess>(std::vector<std::string>{
      "dbus-daemon", "--session", "--nofork", "--address=unix:path=" + socket, "--print-address=1"});
  const auto address = _bus->waitForLine("", 10s);
  if (!address || address->empty()) {
    _reason = "no D-Bus session bus: dbus-daemon could not start";
    return false;
  }
  // Without the server's id, which changes at every start: the address stays the same.
  ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + socket).c_str(), 1);
  ::unsetenv("AT_SPI_BUS_ADDRESS");
  return true;
}

bool DesktopSession::startAccessibilityBus() {
  // Starts the accessibility bus (at-spi2-core's launcher) and switches toolkit accessibility on.
  ChildProcess enable({"dbus-send", "--session", "--print-reply", "--dest=org.a11y.Bus", "/org/a11y/bus",
                       "org.freedesktop.DBus.Properties.Set", "string:org.a11y.Status", "string:IsEnabled",
                       "variant:boolean:true"});
  if (enable.waitForExit(15s) != 0) {
    _reason = "no accessibility bus: at-spi2-core's launcher did not answer on the session bus";
    return false;
  }
  return true;
}

bool DesktopSession::startJack() {
  // Named after the display, which no other running session has: a later session of the same name
  // takes over the table entry of one that was killed (JACK has eight).
  _jack = startJackServer("zar-e2e-" + _display);
  if (!_jack) {
    _reason = "no JACK server: jackd -d dummy did not start";
    return false;
  }
  return true;
}

void DesktopSession::kill(Service service) {
  switch (service) {
    case Service::xServer:
      _xvfb->kill(SIGKILL);
      break;
    case Service::sessionBus:
      _bus->kill(SIGKILL);
      break;
    case Service::accessibilityBus: {
      // The launcher (the session bus knows its process) and the bus daemon it runs.
      ChildProcess owner({"dbus-send", "--session", "--print-reply=literal", "--dest=org.freedesktop.DBus", "/",
                          "org.freedesktop.DBus.GetConnectionUnixProcessID", "string:org.a11y.Bus"});
      const auto reply = owner.waitForLine("uint32", 10s);
      if (!reply) break;
      const pid_t launcher = std::stoi(reply->substr(reply->find("uint32") + 6));
      const auto daemons = childrenOf(launcher);
      killAndReap(launcher);
      for (const pid_t daemon : daemons) killAndReap(daemon);
      break;
    }
    case Service::jack:
      _jack->kill(SIGKILL);
      break;
  }
}

bool DesktopSession::restart(Service service) {
  switch (service) {
    case Service::xServer:
      return startXServer();
    case Service::sessionBus:
      return startSessionBus() && startAccessibilityBus();
    case Service::accessibilityBus:
      return startAccessibilityBus();
    case Service::jack:
      return startJack();
  }
  return false;
}

}  // namespace zar::test
