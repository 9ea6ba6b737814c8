#include "ZAR_DAWControl/platform/x11/X11AccessibilityHelper.h"

#include "ZAR_DAWControl/platform/x11/AtspiDBus.h"

namespace zar::x11 {

X11AccessibilityHelper::X11AccessibilityHelper(std::shared_ptr<AtspiMirror> mirror, std::shared_ptr<platform::Alerts> alerts)
    : _mirror(std::move(mirror)), _alerts(std::move(alerts)) {}

bool X11AccessibilityHelper::checkIfAccessibilityIsAvailable() {
  return _mirror->reachable() && AtspiDBus::toolkitAccessibilityEnabled();
}

void X11AccessibilityHelper::askUserToActivateAccessibility() {
  platform::AlertRequest request;
  request.messageText = kMessageText;
  request.informativeText = kInformativeText;
  request.defaultButton = "OK";
  _alerts->runModal(request);
}

}  // namespace zar::x11
