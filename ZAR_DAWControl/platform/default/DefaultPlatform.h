#pragma once

#include <memory>
#include <string>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/sim/SimDesktop.h"

namespace zar::platform {

/// Which desktop a default platform drives: the simulated one (with its simulated Pro Tools) or
/// the real X11 desktop (AT-SPI accessibility, XTest input) of $DISPLAY.
enum class Desktop { sim, x11 };

/// What the default platform is built on. The clock and the main run loop are held by the other
/// services (the global queue hands main-thread work to the run loop; the desktop's alerts run it
/// nested and wait on the clock), so they are chosen here, before anything holds them: every
/// service of the result is wired to the clock and run loop given.
struct DefaultPlatformOptions {
  HostIdentity host;
  /// The desktop whose services the platform gets.
  Desktop desktop = Desktop::sim;
  /// Nothing: the system clock.
  std::shared_ptr<Clock> clock;
  /// Nothing: a new main run loop on `clock`, whose main thread is the calling thread.
  std::shared_ptr<RunLoop> mainRunLoop;
  /// Work handed to the global queue runs at once on the calling thread instead of on a pool of
  /// threads (so a virtual clock is moved by one thread only).
  bool globalQueueOnCaller = false;
  /// The preferences file; empty: the host's file under the user's preferences directory.
  std::string preferencesPath;
  /// Preferences kept in memory only (`preferencesPath` is then not used).
  bool preferencesInMemory = false;
  /// The application support directory; empty: the host's under the user's data directory.
  std::string supportDirectory;
  /// On the X11 desktop: accessibility answers come from a mirror kept up to date by what the
  /// applications announce. False reads the bus at every call, the way before the mirror (kept to
  /// measure the one against the other).
  bool accessibilityMirror = true;
};

/// The default platform and, on the simulated desktop, the desktop that provides its services.
struct DefaultPlatform {
  std::shared_ptr<Platform> platform;
  /// Nothing on the X11 desktop.
  std::shared_ptr<sim::SimDesktop> desktop;
};

/// The Linux services (clock, main run loop, thread pool, preferences file, spdlog, files, ALSA or
/// JACK MIDI) and the chosen desktop, all wired to the options' clock and main run loop. Any
/// thread may call it; it blocks only while the services are made (no I/O waits).
DefaultPlatform buildDefaultPlatform(const DefaultPlatformOptions& options);

/// `buildDefaultPlatform` with the system clock and a main run loop whose main thread is the
/// calling thread. `Platform::current()` makes this one (simulated desktop) when no platform was
/// installed. On the X11 desktop, alerts go to the presenter the host installs on
/// `x11::X11Alerts` (the platform's `alerts`).
std::shared_ptr<Platform> makeDefaultPlatform(const HostIdentity& host, Desktop desktop = Desktop::sim);

}  // namespace zar::platform
