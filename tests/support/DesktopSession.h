#pragma once

#include <memory>
#include <string>

#include "support/ChildProcess.h"

namespace zar::test {

/// A private desktop for end-to-end tests: an X server without hardware (Xvfb), a D-Bus session bus
/// whose accessibility bus is switched on, and a JACK server on the dummy driver. Started once per
/// test program and put into the environment ($DISPLAY, $DBUS_SESSION_BUS_ADDRESS,
/// $JACK_DEFAULT_SERVER) before anything in the program connects to them.
class DesktopSession {
 public:
  /// The session of this test program, started at the first call.
  static DesktopSession& shared();
  ~DesktopSession() = default;

  /// Whether everything started; otherwise `reason` says, in one line, what could not.
  bool started() const { return _started; }
  const std::string& reason() const { return _reason; }

 private:
  DesktopSession();
  DesktopSession(const DesktopSession&) = delete;
  DesktopSession& operator=(const DesktopSession&) = delete;
  bool start();

  bool _started = false;
  std::string _reason;
  std::unique_ptr<ChildProcess> _xvfb;
  std::unique_ptr<ChildProcess> _bus;
  std::unique_ptr<ChildProcess> _jack;
};

}  // namespace zar::test
