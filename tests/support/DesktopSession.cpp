#include "support/DesktopSession.h"

#include <unistd.h>

#include <cstdlib>

#include "support/JackServer.h"

namespace zar::test {

using namespace std::chrono_literals;

DesktopSession& DesktopSession::shared() {
  // Destroyed at exit, which ends its servers gracefully: a JACK server that is killed leaves its
  // entry in JACK's table of servers behind.
  static DesktopSession session;
  return session;
}

DesktopSession::DesktopSession() { _started = start(); }

bool DesktopSession::start() {
  _xvfb = std::make_unique<ChildProcess>(
      std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0", "1600x1200x24", "-nolisten", "tcp"});
  const auto display = _xvfb->waitForLine("", 10s);
  if (!display || display->empty()) {
    _reason = "no X server: Xvfb could not start";
    return false;
  }
  ::setenv("DISPLAY", (":" + *display).c_str(), 1);

  _bus = std::make_unique<ChildProcess>(
      std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1"});
  const auto address = _bus->waitForLine("", 10s);
  if (!address || address->empty()) {
    _reason = "no D-Bus session bus: dbus-daemon could not start";
    return false;
  }
  ::setenv("DBUS_SESSION_BUS_ADDRESS", address->c_str(), 1);
  ::unsetenv("AT_SPI_BUS_ADDRESS");
  // Starts the accessibility bus (at-spi2-core's launcher) and switches toolkit accessibility on.
  ChildProcess enable({"dbus-send", "--session", "--print-reply", "--dest=org.a11y.Bus", "/org/a11y/bus",
                       "org.freedesktop.DBus.Properties.Set", "string:org.a11y.Status", "string:IsEnabled",
                       "variant:boolean:true"});
  if (enable.waitForExit(15s) != 0) {
    _reason = "no accessibility bus: at-spi2-core's launcher did not answer on the session bus";
    return false;
  }

  // Named after the display, which no other running session has: a later session of the same name
  // takes over the table entry of one that was killed (JACK has eight).
  _jack = startJackServer("zar-e2e-" + *display);
  if (!_jack) {
    _reason = "no JACK server: jackd -d dummy did not start";
    return false;
  }
  return true;
}

}  // namespace zar::test
