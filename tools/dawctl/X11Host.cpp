#include "X11Host.h"

#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/platform/x11/X11Alerts.h"

namespace dawctl {

namespace {
const zar::platform::HostIdentity kHost{"com.zar.dawctl", "dawctl"};
}

X11Host::X11Host(const Options& options) {
  _platform = zar::platform::makeDefaultPlatform(kHost, zar::platform::Desktop::x11);
  if (!options.supportDirectory.empty()) {
    _platform->fileUtility = std::make_shared<zar::native::LocalFileUtility>(options.supportDirectory);
  }
  if (const auto alerts = std::dynamic_pointer_cast<zar::x11::X11Alerts>(_platform->alerts)) {
    alerts->setPresenter(TerminalAlertPresenter(_platform->mainRunLoop, options.alertAnswer));
  }
  if (options.adjust) options.adjust(*_platform);
  _platform->userDefaults->registerDefaults({{ZAR_MIDISystem::kBackendPrefKey, "jack"}});
  zar::platform::Platform::install(_platform);
  _start = _platform->clock->now();
}

X11Host::~X11Host() { zar::platform::Platform::install(nullptr); }

double X11Host::elapsed() const { return _platform->clock->now() - _start; }

}  // namespace dawctl
