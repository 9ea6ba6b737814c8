#include "ZAR_DAWControl/platform/x11/X11AccessibilityHelper.h"

#include "ZAR_DAWControl/platform/x11/AtspiBus.h"

namespace zar::x11 {

X11AccessibilityHelper::X11AccessibilityHelper(std::shared_ptr<platform::Alerts> alerts) : _alerts(std::move(alerts)) {}

bool X11AccessibilityHelper::checkIfAccessibilityIsAvailable() {
  AtspiBus& bus = AtspiBus::shared();
  return bus.reachable() && bus.toolkitAccessibilityEnabled();
}

void X11AccessibilityHelper::askUserToActivateAccessibility() {
  platform::AlertRequest request;
  request.messageText = kMessageText;
  request.informativeText = kInformativeText;
  request.defaultButton = "OK";
  _alerts->runModal(request);
}

}  // namespace zar::x11
