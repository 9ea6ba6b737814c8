#include "ZAR_DAWControl/platform/sim/SimDesktop.h"

#include <stdexcept>

namespace zar::sim {

namespace {

std::shared_ptr<platform::Clock> requireClock(std::shared_ptr<platform::Clock> clock) {
  if (!clock) {
    throw std::invalid_argument("SimDesktop needs a clock");
  }
  return clock;
}

}  // namespace

SimDesktop::SimDesktop(std::shared_ptr<platform::Clock> clock, std::shared_ptr<platform::RunLoop> runLoop,
                       const platform::HostIdentity& host) {
  clock = requireClock(std::move(clock));
  _workspace = std::make_shared<SimWorkspace>(host);
  _screens = std::make_shared<SimScreens>();
  _accessibilityHelper = std::make_shared<SimAccessibilityHelper>(clock, runLoop);
  _accessibility = std::make_shared<SimAccessibility>(_workspace, _accessibilityHelper);
  _eventPoster = std::make_shared<SimEventPoster>(clock, _workspace, _screens);
  _alerts = std::make_shared<SimAlerts>(clock, runLoop);
  _appleScript = std::make_shared<SimAppleScript>(clock, _workspace, _eventPoster);
}

void SimDesktop::provideServices(platform::Platform& platform) const {
  platform.accessibility = _accessibility;
  platform.accessibilityHelper = _accessibilityHelper;
  platform.eventPoster = _eventPoster;
  platform.workspace = _workspace;
  platform.screens = _screens;
  platform.alerts = _alerts;
  platform.appleScript = _appleScript;
}

}  // namespace zar::sim
