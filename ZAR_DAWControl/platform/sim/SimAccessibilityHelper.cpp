#include "ZAR_DAWControl/platform/sim/SimAccessibilityHelper.h"

namespace zar::sim {

SimAccessibilityHelper::SimAccessibilityHelper(std::shared_ptr<platform::Clock> clock,
                                               std::shared_ptr<platform::RunLoop> runLoop)
    : _clock(std::move(clock)), _runLoop(std::move(runLoop)) {}

bool SimAccessibilityHelper::checkIfAccessibilityIsAvailable() {
  std::lock_guard lock(_mutex);
  return _trusted;
}

void SimAccessibilityHelper::askUserToActivateAccessibility() {
  const bool onMainThread = _runLoop && _runLoop->isMainThread();
  std::lock_guard lock(_mutex);
  _requests.push_back(Request{onMainThread, _clock->now()});
}

void SimAccessibilityHelper::setTrusted(bool trusted) {
  std::lock_guard lock(_mutex);
  _trusted = trusted;
}

std::vector<SimAccessibilityHelper::Request> SimAccessibilityHelper::requests() const {
  std::lock_guard lock(_mutex);
  return _requests;
}

}  // namespace zar::sim
