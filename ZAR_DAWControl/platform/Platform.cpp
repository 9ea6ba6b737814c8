#include "ZAR_DAWControl/platform/Platform.h"

#include <mutex>
#include <utility>

#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"

namespace zar::platform {

namespace {
// A mutex rather than std::atomic<std::shared_ptr>: libstdc++ 12 implements the latter with a lock
// bit ThreadSanitizer cannot see, and installs are rare enough that the lock costs nothing.
struct Slot {
  std::mutex mutex;
  std::shared_ptr<const Platform> platform;
};

// Never destroyed: a MIDI or pool thread may still ask for the platform while the process exits,
// after static destructors have run. (So neither are its services: the preferences store writes its
// last change at exit by itself.)
Slot& slot() {
  static Slot* const instance = new Slot;
  return *instance;
}

std::shared_ptr<const Platform> load() {
  std::lock_guard lock(slot().mutex);
  return slot().platform;
}
}  // namespace

void Platform::install(std::shared_ptr<const Platform> platform) {
  std::shared_ptr<const Platform> previous;
  {
    std::lock_guard lock(slot().mutex);
    previous = std::exchange(slot().platform, std::move(platform));
  }
  // The previous platform, if this was its last owner, is destroyed outside the lock.
}

std::shared_ptr<const Platform> Platform::current() {
  if (auto platform = load()) {
    return platform;
  }
  // Made outside the lock: building the default platform may itself ask for the current one.
  std::shared_ptr<const Platform> made = makeDefaultPlatform(HostIdentity{});
  std::lock_guard lock(slot().mutex);
  if (!slot().platform) {
    slot().platform = std::move(made);
  }
  return slot().platform;
}

std::shared_ptr<const Platform> Platform::installed() { return load(); }

}  // namespace zar::platform
