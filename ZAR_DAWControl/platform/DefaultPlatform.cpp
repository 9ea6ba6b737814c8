#include "ZAR_DAWControl/platform/DefaultPlatform.h"

#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"
#include "ZAR_DAWControl/platform/linux/SystemClock.h"

namespace zar::platform {

std::shared_ptr<Platform> makeDefaultPlatform(const HostIdentity& host) {
  auto platform = std::make_shared<Platform>();
  platform->host = host;
  platform->clock = std::make_shared<native::SystemClock>();
  platform->fileUtility = std::make_shared<native::LocalFileUtility>(
      native::LocalFileUtility::defaultApplicationSupportDirectory(host.applicationName));
  platform->midiPorts = std::make_shared<native::RtMidiPorts>();
  return platform;
}

}  // namespace zar::platform
