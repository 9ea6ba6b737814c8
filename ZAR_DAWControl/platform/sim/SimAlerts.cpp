#include "ZAR_DAWControl/platform/sim/SimAlerts.h"

namespace zar::sim {

SimAlerts::SimAlerts(std::shared_ptr<platform::Clock> clock, std::shared_ptr<platform::RunLoop> runLoop)
    : _clock(std::move(clock)), _runLoop(std::move(runLoop)) {}

platform::AlertResponse SimAlerts::runModal(const platform::AlertRequest& request) {
  std::size_t index = 0;
  ScriptedAnswer answer{platform::AlertDefaultReturn, request.suppressionButtonChecked};
  {
    std::lock_guard lock(_mutex);
    index = _shown.size();
    _shown.push_back(ShownAlert{request, _runLoop && _runLoop->isMainThread(), _clock->now(), {}});
    if (!_answers.empty()) {
      answer = _answers.front();
      _answers.pop_front();
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

std::vector<SimAlerts::ShownAlert> SimAlerts::shownAlerts() const {
  std::lock_guard lock(_mutex);
  return _shown;
}

}  // namespace zar::sim
