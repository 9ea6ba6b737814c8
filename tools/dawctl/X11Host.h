#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "TerminalAlertPresenter.h"
#include "ZAR_DAWControl/platform/Platform.h"

namespace dawctl {

/// dawctl as a host of the framework on the real X11 desktop ($DISPLAY, its accessibility bus):
/// the default platform with the X11 desktop, alerts on the terminal, and HUI over JACK unless the
/// preferences say otherwise. Pro Tools (or the stand-in) runs on its own.
class X11Host {
 public:
  struct Options {
    /// The application support directory; empty: dawctl's own under the user's data directory.
    std::string supportDirectory;
    /// How alerts are answered; nothing: from standard input.
    std::optional<TerminalAlertPresenter::Answer> alertAnswer;
    /// Called with the assembled platform before it is installed, to wrap services.
    std::function<void(zar::platform::Platform&)> adjust;
  };

  explicit X11Host(const Options& options);
  ~X11Host();
  X11Host(const X11Host&) = delete;
  X11Host& operator=(const X11Host&) = delete;

  /// Seconds since the host started.
  double elapsed() const;
  /// Runs the main loop for that many seconds.
  void runFor(double seconds) { _platform->mainRunLoop->runFor(seconds); }

  const std::shared_ptr<zar::platform::Platform>& platform() const { return _platform; }

 private:
  std::shared_ptr<zar::platform::Platform> _platform;
  double _start = 0;
};

}  // namespace dawctl
