#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"

#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"
#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"
#include "ZAR_DAWControl/platform/linux/SpdLogger.h"
#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"
#include "ZAR_DAWControl/platform/linux/ThreadPoolDispatch.h"
#include "ZAR_DAWControl/platform/sim/SimDesktop.h"
#include "ZAR_DAWControl/platform/sim/SimDispatch.h"
#include "ZAR_DAWControl/platform/x11/X11Desktop.h"

namespace zar::platform {

DefaultPlatform buildDefaultPlatform(const DefaultPlatformOptions& options) {
  const HostIdentity& host = options.host;
  auto platform = std::make_shared<Platform>();
  platform->host = host;
  platform->clock = options.clock ? options.clock : std::make_shared<native::SystemClock>();
  platform->mainRunLoop =
      options.mainRunLoop ? options.mainRunLoop : std::make_shared<native::MainRunLoop>(platform->clock);
  if (options.globalQueueOnCaller) {
    platform->dispatch =
        std::make_shared<sim::SimDispatch>(platform->mainRunLoop, sim::SimDispatch::Mode::inlineOnCaller);
  } else {
    platform->dispatch = std::make_shared<native::ThreadPoolDispatch>(platform->mainRunLoop);
  }
  platform->logger = native::SpdLogger::makeDefault();
  platform->notificationCenter = std::make_shared<native::SynchronousNotificationCenter>();
  std::optional<std::string> preferences;
  if (!options.preferencesInMemory) {
    preferences = options.preferencesPath.empty() ? native::PlistUserDefaults::defaultPath(host.bundleIdentifier)
                                                  : options.preferencesPath;
  }
  platform->userDefaults = std::make_shared<native::PlistUserDefaults>(std::move(preferences), platform->logger);
  platform->fileUtility = std::make_shared<native::LocalFileUtility>(
      options.supportDirectory.empty()
          ? native::LocalFileUtility::defaultApplicationSupportDirectory(host.applicationName)
          : options.supportDirectory);
  std::shared_ptr<sim::SimDesktop> desktop;
  if (options.desktop == Desktop::x11) {
    x11::AtspiMirror::Options mirror;
    mirror.enabled = options.accessibilityMirror;
    x11::X11Desktop(host, platform->clock, mirror).provideServices(*platform);
  } else {
    // The desktop takes the main run loop for its alerts, so it must be set before this line.
    desktop = std::make_shared<sim::SimDesktop>(platform->clock, platform->mainRunLoop, host);
    desktop->provideServices(*platform);
  }
  platform->midiPorts = std::make_shared<native::RtMidiPorts>();
  return DefaultPlatform{std::move(platform), std::move(desktop)};
}

std::shared_ptr<Platform> makeDefaultPlatform(const HostIdentity& host, Desktop desktop) {
  DefaultPlatformOptions options;
  options.host = host;
  options.desktop = desktop;
  return buildDefaultPlatform(options).platform;
}

}  // namespace zar::platform
