#pragma once

#include <memory>

#include "ZAR_DAWControl/platform/AccessibilityHelper.h"
#include "ZAR_DAWControl/platform/Alerts.h"
#include "ZAR_DAWControl/platform/x11/AtspiMirror.h"

namespace zar::x11 {

/// Accessibility is available when the accessibility bus answers and toolkit accessibility is
/// switched on (the org.a11y.Status flag that toolkits read). Asking the user shows an alert that
/// says how to switch it on.
class X11AccessibilityHelper final : public platform::AccessibilityHelper {
 public:
  static constexpr const char* kMessageText = "Turn on accessibility to let Vantrole control Pro Tools";
  static constexpr const char* kInformativeText =
      "Vantrole reads and presses Pro Tools' controls through the desktop's accessibility bus (AT-SPI), which is "
      "not running or is switched off. Install at-spi2-core, switch accessibility on with \"gsettings set "
      "org.gnome.desktop.interface toolkit-accessibility true\" (or in your desktop's accessibility settings), "
      "then start Pro Tools again.";

  X11AccessibilityHelper(std::shared_ptr<AtspiMirror> mirror, std::shared_ptr<platform::Alerts> alerts);

  bool checkIfAccessibilityIsAvailable() override;
  void askUserToActivateAccessibility() override;

 private:
  const std::shared_ptr<AtspiMirror> _mirror;
  const std::shared_ptr<platform::Alerts> _alerts;
};

}  // namespace zar::x11
