#pragma once

#include <memory>
#include <string>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/sim/SimDesktop.h"

namespace zar::platform {

/// What the default platform is built on. The clock and the main run loop are held by the other
/// services (the global queue hands main-thread work to the run loop; the desktop's alerts run it
/// nested and wait on the clock), so they are chosen here, before anything holds them: every
/// service of the result is wired to the clock and run loop given.
struct DefaultPlatformOptions {
  HostIdentity host;
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
};

/// The default platform and the simulated desktop that provides its desktop services.
struct DefaultPlatform {
  std::shared_ptr<Platform> platform;
  std::shared_ptr<sim::SimDesktop> desktop;
};

/// The Linux services (clock, main run loop, thread pool, preferences file, spdlog, files, ALSA or
/// JACK MIDI) and the simulated desktop, all wired to the options' clock and main run loop. Any
/// thread may call it; it blocks only while the services are made (no I/O waits).
DefaultPlatform buildDefaultPlatform(const DefaultPlatformOptions& options);

/// `buildDefaultPlatform` with the system clock and a main run loop whose main thread is the
/// calling thread. `Platform::current()` makes this one when no platform was installed.
std::shared_ptr<Platform> makeDefaultPlatform(const HostIdentity& host);

}  // namespace zar::platform
