#include "ZAR_DAWControl/platform/DefaultPlatform.h"

#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"
#include "ZAR_DAWControl/platform/sim/SimDesktop.h"

namespace zar::platform {

std::shared_ptr<Platform> makeDefaultPlatform(const HostIdentity& host) {
  auto platform = std::make_shared<Platform>();
  platform->host = host;
  platform->clock = std::make_shared<native::SystemClock>();
  platform->fileUtility = std::make_shared<native::LocalFileUtility>(
      native::LocalFileUtility::defaultApplicationSupportDirectory(host.applicationName));
  // The desktop takes the main run loop for its alerts, so it must be set before this line.
  sim::SimDesktop(platform->clock, platform->mainRunLoop, host).provideServices(*platform);
  return platform;
}

}  // namespace zar::platform
