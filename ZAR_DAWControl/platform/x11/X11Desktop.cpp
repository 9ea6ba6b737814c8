#include "ZAR_DAWControl/platform/x11/X11Desktop.h"

#include "ZAR_DAWControl/platform/x11/AtspiDBus.h"

namespace zar::x11 {

X11Desktop::X11Desktop(const platform::HostIdentity& host, std::shared_ptr<platform::Clock> clock,
                       AtspiMirror::Options mirror) {
  _display = std::make_shared<X11Display>();
  _keyboard = std::make_shared<X11Keyboard>(_display);
  _mirror = std::make_shared<AtspiMirror>(std::make_shared<AtspiDBus>(), std::move(clock), mirror);
  _mirror->setScreenChanges([display = _display] { return display->screenChanges(); });
  _mirror->startConfirming();
  _accessibility = std::make_shared<X11Accessibility>(_display, _mirror);
  _alerts = std::make_shared<X11Alerts>();
  _accessibilityHelper = std::make_shared<X11AccessibilityHelper>(_mirror, _alerts);
  _workspace = std::make_shared<X11Workspace>(_display, _mirror, host);
  _screens = std::make_shared<X11Screens>(_display);
  _eventPoster = std::make_shared<X11EventPoster>(_display, _keyboard, _mirror);
  _appleScript = std::make_shared<X11AppleScript>(_keyboard, _mirror);
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
