#pragma once

#include <memory>

#include "ZAR_DAWControl/platform/Platform.h"

namespace zar::platform {

/// The platform a host gets without building its own: the Linux services (real clock, main run
/// loop, thread pool, preferences file, spdlog, files) and the simulated desktop.
std::shared_ptr<Platform> makeDefaultPlatform(const HostIdentity& host);

}  // namespace zar::platform
