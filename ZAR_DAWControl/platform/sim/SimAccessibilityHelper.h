#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "ZAR_DAWControl/platform/AccessibilityHelper.h"
#include "ZAR_DAWControl/platform/Clock.h"
#include "ZAR_DAWControl/platform/RunLoop.h"

namespace zar::sim {

/// The accessibility permission of the host on the simulated desktop. Trusted unless told
/// otherwise; while untrusted, every accessibility call answers apiDisabled.
class SimAccessibilityHelper final : public platform::AccessibilityHelper {
 public:
  struct Request {
    /// Whether it ran on the run loop's main thread (false without a run loop).
    bool onMainThread = false;
    double time = 0;
  };

  SimAccessibilityHelper(std::shared_ptr<platform::Clock> clock, std::shared_ptr<platform::RunLoop> runLoop);

  bool checkIfAccessibilityIsAvailable() override;
  /// Records the request; the user never grants it.
  void askUserToActivateAccessibility() override;

  void setTrusted(bool trusted);
  std::vector<Request> requests() const;

 private:
  const std::shared_ptr<platform::Clock> _clock;
  const std::shared_ptr<platform::RunLoop> _runLoop;
  mutable std::mutex _mutex;
  bool _trusted = true;
  std::vector<Request> _requests;
};

}  // namespace zar::sim
