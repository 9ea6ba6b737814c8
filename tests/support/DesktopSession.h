#pragma once

#include <memory>
#include <string>

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

namespace zar::test {

/// A private desktop for end-to-end tests: an X server without hardware (Xvfb), a D-Bus session bus
/// whose accessibility bus is switched on, and a JACK server on the dummy driver. Put into the
/// environment ($DISPLAY, $DBUS_SESSION_BUS_ADDRESS, $JACK_DEFAULT_SERVER) before anything in the
/// program connects to them. A test may kill a service as a crash would, and start it again at the
/// address it had, as a desktop's session manager does.
class DesktopSession {
 public:
  enum class Service { xServer, sessionBus, accessibilityBus, jack };

  /// The session of this test program, started at the first call.
  static DesktopSession& shared();
  /// Starts every service.
  DesktopSession();
  ~DesktopSession() = default;
  DesktopSession(const DesktopSession&) = delete;
  DesktopSession& operator=(const DesktopSession&) = delete;

  /// Whether everything started; otherwise `reason` says, in one line, what could not.
  bool started() const { return _started; }
  const std::string& reason() const { return _reason; }

  /// Kills the service with SIGKILL and waits until it has ended. The session bus takes the
  /// accessibility bus (whose launcher it started) with it.
  void kill(Service service);
  /// Starts the service again where it was; false (with `reason`) when it didn't come up.
  bool restart(Service service);

 private:
  bool startXServer();
  bool startSessionBus();
  bool startAccessibilityBus();
  bool startJack();

  bool _started = false;
  std::string _reason;
  TemporaryDirectory _directory;
  std::string _display;  // the number, once the first server chose it
  std::unique_ptr<ChildProcess> _xvfb;
  std::unique_ptr<ChildProcess> _bus;
  std::unique_ptr<ChildProcess> _jack;
};

}  // namespace zar::test
