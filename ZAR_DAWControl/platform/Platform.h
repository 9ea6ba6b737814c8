#pragma once

#include <memory>
#include <string>

#include "ZAR_DAWControl/platform/Accessibility.h"
#include "ZAR_DAWControl/platform/AccessibilityHelper.h"
#include "ZAR_DAWControl/platform/Alerts.h"
#include "ZAR_DAWControl/platform/AppleScript.h"
#include "ZAR_DAWControl/platform/Clock.h"
#include "ZAR_DAWControl/platform/Dispatch.h"
#include "ZAR_DAWControl/platform/EventPoster.h"
#include "ZAR_DAWControl/platform/FileUtility.h"
#include "ZAR_DAWControl/platform/Logger.h"
#include "ZAR_DAWControl/platform/MidiPorts.h"
#include "ZAR_DAWControl/platform/NotificationCenter.h"
#include "ZAR_DAWControl/platform/RunLoop.h"
#include "ZAR_DAWControl/platform/Screens.h"
#include "ZAR_DAWControl/platform/UserDefaults.h"
#include "ZAR_DAWControl/platform/Workspace.h"

namespace zar::platform {

/// Who the host application is: it names the preferences domain and the support directory.
struct HostIdentity {
  std::string bundleIdentifier = "com.zar.Vantrole";
  std::string applicationName = "Vantrole";
};

/// Every platform service the framework uses. The host (or a test) builds one and installs it;
/// the framework reaches the services only through `Platform::current()`.
///
/// The services hold each other. `dispatch` hands main-thread work to the `mainRunLoop` it was
/// made with; the desktop's services (`alerts`, `accessibilityHelper`, `eventPoster` ...) hold the
/// `clock` and `mainRunLoop` they were made with; `userDefaults` logs to the `logger` it was made
/// with. So `clock` and `mainRunLoop` are chosen when the platform is made
/// (`zar::platform::DefaultPlatformOptions`) and never replaced afterwards: a replaced run loop
/// would leave work handed to the main thread from another thread on a loop nobody runs. Fields
/// that no other service holds (`notificationCenter`, `fileUtility`, `midiPorts`, `appleScript`,
/// `workspace`, `screens`, `accessibility`) may be replaced or wrapped before the platform is
/// installed; after that a platform is read, never changed.
///
/// The main thread is the thread that made the main run loop. When the host installs no platform,
/// the first thread to ask for `Platform::current()` makes the default one and so becomes the
/// main thread: a host asks first on the thread that will run the loop.
struct Platform {
  HostIdentity host;
  std::shared_ptr<Clock> clock;
  std::shared_ptr<RunLoop> mainRunLoop;
  std::shared_ptr<Dispatch> dispatch;
  std::shared_ptr<NotificationCenter> notificationCenter;
  std::shared_ptr<UserDefaults> userDefaults;
  std::shared_ptr<Logger> logger;
  std::shared_ptr<FileUtility> fileUtility;
  std::shared_ptr<Accessibility> accessibility;
  std::shared_ptr<AccessibilityHelper> accessibilityHelper;
  std::shared_ptr<EventPoster> eventPoster;
  std::shared_ptr<Workspace> workspace;
  std::shared_ptr<Screens> screens;
  std::shared_ptr<Alerts> alerts;
  std::shared_ptr<AppleScript> appleScript;
  std::shared_ptr<MidiPorts> midiPorts;

  /// Makes `platform` the one in use. Objects holding services of the previous one keep them.
  /// Any thread; returns at once (the previous platform is released outside the lock).
  static void install(std::shared_ptr<const Platform> platform);
  /// The platform in use; when none was installed, the default one is made and installed, and
  /// the calling thread becomes its main thread. Any thread; returns at once once a platform is
  /// installed.
  static std::shared_ptr<const Platform> current();
  /// The platform installed, or nothing; never makes the default one.
  static std::shared_ptr<const Platform> installed();
};

}  // namespace zar::platform
