#include "ZAR_DAWControl/platform/sim/SimAlerts.h"

#include <cmath>

namespace zar::sim {

SimAlerts::SimAlerts(std::shared_ptr<platform::Clock> clock, std::shared_ptr<platform::RunLoop> runLoop)
    : _clock(std::move(clock)), _runLoop(std::move(runLoop)) {}

platform::AlertResponse SimAlerts::runModal(const platform::AlertRequest& request) {
  std::size_t index = 0;
  ScriptedAnswer answer{platform::AlertDefaultReturn, request.suppressionButtonChecked, 0};
  {
    std::lock_guard lock(_mutex);
    index = _shown.size();
    _shown.push_back(ShownAlert{request, _runLoop && _runLoop->isMainThread(), _clock->now(), {}});
    if (!_answers.empty()) {
      answer = _answers.front();
      _answers.pop_front();
    }
  }
  if (std::isfinite(answer.delay) && answer.delay > 0) {
    // Nested alerts shown meanwhile take the answers after this one.
    if (_runLoop) {
      _runLoop->runFor(answer.delay);
    } else {
      _clock->sleep(answer.delay);
    }
  }
  platform::AlertResponse response;
  const bool hasButton = answer.buttonReturn == platform::AlertDefaultReturn ||
                         (answer.buttonReturn == platform::AlertAlternateReturn && request.alternateButton) ||
                         (answer.buttonReturn == platform::AlertOtherReturn && request.otherButton);
  response.buttonReturn = hasButton ? answer.buttonReturn : platform::AlertDefaultReturn;
  response.suppressionButtonChecked =
      request.showsSuppressionButton ? answer.suppressionButtonChecked : request.suppressionButtonChecked;
  {
    std::lock_guard lock(_mutex);
    _shown[index].response = response;
  }
  return response;
}

void SimAlerts::enqueueAnswer(ScriptedAnswer answer) {
  std::lock_guard lock(_mutex);
  _answers.push_back(answer);
}

std::size_t SimAlerts::pendingAnswers() const {
  std::lock_guard lock(_mutex);
  return _answers.size();
}

std::vector<SimAlerts::ShownAlert> SimAlerts::shownAlerts() const {
  std::lock_guard lock(_mutex);
  return _shown;
}

}  // namespace zar::sim
