#pragma once

#include <memory>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/sim/SimAccessibility.h"
#include "ZAR_DAWControl/platform/sim/SimAccessibilityHelper.h"
#include "ZAR_DAWControl/platform/sim/SimAlerts.h"
#include "ZAR_DAWControl/platform/sim/SimAppleScript.h"
#include "ZAR_DAWControl/platform/sim/SimEventPoster.h"
#include "ZAR_DAWControl/platform/sim/SimScreens.h"
#include "ZAR_DAWControl/platform/sim/SimWorkspace.h"

namespace zar::sim {

/// A whole simulated desktop: the host application, the other running applications with their
/// accessibility trees, screens and pointer, synthesised input, alerts and scripts. The services
/// keep each other alive, so they outlive the desktop object that made them.
class SimDesktop {
 public:
  /// The clock is required (a null one is an std::invalid_argument); without a run loop, alerts
  /// don't run it nested and nothing is known to run on the main thread.
  SimDesktop(std::shared_ptr<platform::Clock> clock, std::shared_ptr<platform::RunLoop> runLoop,
             const platform::HostIdentity& host);

  /// Puts the desktop's services into the platform; its other services are left as they are.
  void provideServices(platform::Platform& platform) const;

  const std::shared_ptr<SimWorkspace>& workspace() const { return _workspace; }
  const std::shared_ptr<SimScreens>& screens() const { return _screens; }
  const std::shared_ptr<SimAccessibilityHelper>& accessibilityHelper() const { return _accessibilityHelper; }
  const std::shared_ptr<SimAccessibility>& accessibility() const { return _accessibility; }
  const std::shared_ptr<SimEventPoster>& eventPoster() const { return _eventPoster; }
  const std::shared_ptr<SimAlerts>& alerts() const { return _alerts; }
  const std::shared_ptr<SimAppleScript>& appleScript() const { return _appleScript; }

 private:
  std::shared_ptr<SimWorkspace> _workspace;
  std::shared_ptr<SimScreens> _screens;
  std::shared_ptr<SimAccessibilityHelper> _accessibilityHelper;
  std::shared_ptr<SimAccessibility> _accessibility;
  std::shared_ptr<SimEventPoster> _eventPoster;
  std::shared_ptr<SimAlerts> _alerts;
  std::shared_ptr<SimAppleScript> _appleScript;
};

}  // namespace zar::sim
