#pragma once

#include <memory>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/x11/AtspiMirror.h"
#include "ZAR_DAWControl/platform/x11/X11AccessibilityHelper.h"
#include "ZAR_DAWControl/platform/x11/X11Accessibility.h"
#include "ZAR_DAWControl/platform/x11/X11Alerts.h"
#include "ZAR_DAWControl/platform/x11/X11AppleScript.h"
#include "ZAR_DAWControl/platform/x11/X11Display.h"
#include "ZAR_DAWControl/platform/x11/X11EventPoster.h"
#include "ZAR_DAWControl/platform/x11/X11Keyboard.h"
#include "ZAR_DAWControl/platform/x11/X11Screens.h"
#include "ZAR_DAWControl/platform/x11/X11Workspace.h"

namespace zar::x11 {

/// The real Linux desktop: accessibility over AT-SPI, input through XTest, screens through RandR,
/// the running applications from the accessibility bus and the X server ($DISPLAY). Without a
/// display the X services do nothing (no screens, no windows, events lost) and accessibility
/// answers as the bus does. The services keep each other alive, so they outlive the desktop
/// object that made them.
class X11Desktop {
 public:
  /// `clock` dates the answers the accessibility mirror keeps (the platform's clock); `mirror`
  /// says how it keeps them.
  X11Desktop(const platform::HostIdentity& host, std::shared_ptr<platform::Clock> clock,
             AtspiMirror::Options mirror = {});

  /// Puts the desktop's services into the platform; its other services are left as they are.
  void provideServices(platform::Platform& platform) const;

  const std::shared_ptr<X11Display>& display() const { return _display; }
  const std::shared_ptr<AtspiMirror>& mirror() const { return _mirror; }
  const std::shared_ptr<X11Accessibility>& accessibility() const { return _accessibility; }
  const std::shared_ptr<X11AccessibilityHelper>& accessibilityHelper() const { return _accessibilityHelper; }
  const std::shared_ptr<X11Workspace>& workspace() const { return _workspace; }
  const std::shared_ptr<X11Screens>& screens() const { return _screens; }
  const std::shared_ptr<X11EventPoster>& eventPoster() const { return _eventPoster; }
  const std::shared_ptr<X11Alerts>& alerts() const { return _alerts; }
  const std::shared_ptr<X11AppleScript>& appleScript() const { return _appleScript; }

 private:
  std::shared_ptr<X11Display> _display;
  std::shared_ptr<X11Keyboard> _keyboard;
  std::shared_ptr<AtspiMirror> _mirror;
  std::shared_ptr<X11Accessibility> _accessibility;
  std::shared_ptr<X11Alerts> _alerts;
  std::shared_ptr<X11AccessibilityHelper> _accessibilityHelper;
  std::shared_ptr<X11Workspace> _workspace;
  std::shared_ptr<X11Screens> _screens;
  std::shared_ptr<X11EventPoster> _eventPoster;
  std::shared_ptr<X11AppleScript> _appleScript;
};

}  // namespace zar::x11
