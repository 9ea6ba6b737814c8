#include "ZAR_DAWControl/platform/x11/X11Desktop.h"

namespace zar::x11 {

X11Desktop::X11Desktop(const platform::HostIdentity& host) {
  _display = std::make_shared<X11Display>();
  _keyboard = std::make_shared<X11Keyboard>(_display);
  _accessibility = std::make_shared<X11Accessibility>(_display);
  _alerts = std::make_shared<X11Alerts>();
  _accessibilityHelper = std::make_shared<X11AccessibilityHelper>(_alerts);
  _workspace = std::make_shared<X11Workspace>(_display, host);
  _screens = std::make_shared<X11Screens>(_display);
  _eventPoster = std::make_shared<X11EventPoster>(_display, _keyboard);
  _appleScript = std::make_shared<X11AppleScript>(_keyboard);
}

void X11Desktop::provideServices(platform::Platform& platform) const {
  platform.accessibility = _accessibility;
  platform.accessibilityHelper = _accessibilityHelper;
  platform.eventPoster = _eventPoster;
  platform.workspace = _workspace;
  platform.screens = _screens;
  platform.alerts = _alerts;
  platform.appleScript = _appleScript;
}

}  // namespace zar::x11
