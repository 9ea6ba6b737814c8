#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"

#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"
#include "ZAR_DAWControl/platform/linux/SpdLogger.h"
#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"
#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"
#include "ZAR_DAWControl/platform/linux/ThreadPoolDispatch.h"
#include "ZAR_DAWControl/platform/sim/SimDesktop.h"
#include "ZAR_DAWControl/platform/x11/X11Desktop.h"

namespace zar::platform {

std::shared_ptr<Platform> makeDefaultPlatform(const HostIdentity& host, Desktop desktop) {
  auto platform = std::make_shared<Platform>();
  platform->host = host;
  platform->clock = std::make_shared<native::SystemClock>();
  // The thread that makes the default platform (the first to ask for it) becomes the main thread.
  platform->mainRunLoop = std::make_shared<native::MainRunLoop>(platform->clock);
  platform->dispatch = std::make_shared<native::ThreadPoolDispatch>(platform->mainRunLoop);
  platform->logger = native::SpdLogger::makeDefault();
  platform->notificationCenter = std::make_shared<native::SynchronousNotificationCenter>();
  platform->userDefaults = std::make_shared<native::PlistUserDefaults>(
      native::PlistUserDefaults::defaultPath(host.bundleIdentifier), platform->logger);
  platform->fileUtility = std::make_shared<native::LocalFileUtility>(
      native::LocalFileUtility::defaultApplicationSupportDirectory(host.applicationName));
  if (desktop == Desktop::x11) {
    x11::X11Desktop(host).provideServices(*platform);
  } else {
    // The desktop takes the main run loop for its alerts, so it must be set before this line.
    sim::SimDesktop(platform->clock, platform->mainRunLoop, host).provideServices(*platform);
  }
  platform->midiPorts = std::make_shared<native::RtMidiPorts>();
  return platform;
}

}  // namespace zar::platform
