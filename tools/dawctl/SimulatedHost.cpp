#include "SimulatedHost.h"

namespace dawctl {

zar::platform::SimulatedProToolsHost::Options SimulatedHost::studioOptions(const Options& options) {
  zar::platform::SimulatedProToolsHost::Options studio;
  studio.host = zar::platform::HostIdentity{"com.zar.dawctl", "dawctl"};
  studio.virtualTime = options.virtualTime;
  studio.supportDirectory = options.supportDirectory;
  studio.adjust = options.adjust;
  studio.proTools = std::nullopt;
  return studio;
}

SimulatedHost::SimulatedHost(const Options& options)
    : _studio(studioOptions(options)), _start(_studio.platform()->clock->now()) {}

}  // namespace dawctl
