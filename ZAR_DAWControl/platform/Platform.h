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
  static void install(std::shared_ptr<const Platform> platform);
  /// The platform in use; when none was installed, the default one is made and installed.
  static std::shared_ptr<const Platform> current();
  /// The platform installed, or nothing; never makes the default one.
  static std::shared_ptr<const Platform> installed();
};

}  // namespace zar::platform
