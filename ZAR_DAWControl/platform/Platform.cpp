#include "ZAR_DAWControl/platform/Platform.h"

#include <atomic>

#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"

namespace zar::platform {

namespace {
std::atomic<std::shared_ptr<const Platform>>& slot() {
  static std::atomic<std::shared_ptr<const Platform>> platform;
  return platform;
}
}  // namespace

void Platform::install(std::shared_ptr<const Platform> platform) { slot().store(std::move(platform)); }

std::shared_ptr<const Platform> Platform::current() {
  auto platform = slot().load();
  if (platform) {
    return platform;
  }
  std::shared_ptr<const Platform> made = makeDefaultPlatform(HostIdentity{});
  std::shared_ptr<const Platform> expected;
  if (slot().compare_exchange_strong(expected, made)) {
    return made;
  }
  return expected;
}

std::shared_ptr<const Platform> Platform::installed() { return slot().load(); }

}  // namespace zar::platform
