#include "ZAR_DAWControl/platform/DefaultPlatform.h"

#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"
#include "ZAR_DAWControl/platform/linux/SpdLogger.h"
#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"

namespace zar::platform {

std::shared_ptr<Platform> makeDefaultPlatform(const HostIdentity& host) {
  auto platform = std::make_shared<Platform>();
  platform->host = host;
  platform->clock = std::make_shared<native::SystemClock>();
  platform->logger = native::SpdLogger::makeDefault();
  platform->notificationCenter = std::make_shared<native::SynchronousNotificationCenter>();
  platform->userDefaults = std::make_shared<native::PlistUserDefaults>(
      native::PlistUserDefaults::defaultPath(host.bundleIdentifier), platform->logger);
  platform->fileUtility = std::make_shared<native::LocalFileUtility>(
      native::LocalFileUtility::defaultApplicationSupportDirectory(host.applicationName));
  return platform;
}

}  // namespace zar::platform
