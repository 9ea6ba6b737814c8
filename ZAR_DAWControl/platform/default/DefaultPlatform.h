#pragma once

#include <memory>

#include "ZAR_DAWControl/platform/Platform.h"

namespace zar::platform {

/// Which desktop a default platform drives: the simulated one (with its simulated Pro Tools) or
/// the real X11 desktop (AT-SPI accessibility, XTest input) of $DISPLAY.
enum class Desktop { sim, x11 };

/// The platform a host gets without building its own: the Linux services (real clock, main run
/// loop, thread pool, preferences file, spdlog, files, RtMidi ports) and the chosen desktop. On the
/// X11 desktop, alerts go to the presenter the host installs on `x11::X11Alerts` (the platform's
/// `alerts`).
std::shared_ptr<Platform> makeDefaultPlatform(const HostIdentity& host, Desktop desktop = Desktop::sim);

}  // namespace zar::platform
