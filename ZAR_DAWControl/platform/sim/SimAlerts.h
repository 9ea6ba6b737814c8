#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "ZAR_DAWControl/platform/Alerts.h"
#include "ZAR_DAWControl/platform/Clock.h"
#include "ZAR_DAWControl/platform/RunLoop.h"

namespace zar::sim {

/// Modal alerts answered from a script. Each alert is recorded; it takes the next scripted answer
/// or, with none left, is closed at once with the default button and the suppression box as the
/// request had it.
class SimAlerts final : public platform::Alerts {
 public:
  struct ScriptedAnswer {
    /// A button the alert doesn't have counts as the default button.
    int buttonReturn = platform::AlertDefaultReturn;
    /// Ignored when the alert shows no suppression box.
    bool suppressionButtonChecked = false;
  };
  struct ShownAlert {
    platform::AlertRequest request;
    /// Whether it ran on the run loop's main thread (false without a run loop).
    bool onMainThread = false;
    /// Clock time when it was shown.
    double time = 0;
    platform::AlertResponse response;
  };

  SimAlerts(std::shared_ptr<platform::Clock> clock, std::shared_ptr<platform::RunLoop> runLoop);

  platform::AlertResponse runModal(const platform::AlertRequest& request) override;

  void enqueueAnswer(ScriptedAnswer answer);
  /// The alerts in the order they were shown; an alert still open has the default response.
  std::vector<ShownAlert> shownAlerts() const;

 private:
  const std::shared_ptr<platform::Clock> _clock;
  const std::shared_ptr<platform::RunLoop> _runLoop;
  mutable std::mutex _mutex;
  std::deque<ScriptedAnswer> _answers;
  std::vector<ShownAlert> _shown;
};

}  // namespace zar::sim
