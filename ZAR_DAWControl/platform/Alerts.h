#pragma once

#include <optional>
#include <string>

namespace zar::platform {

struct AlertRequest {
  std::string messageText;
  std::string informativeText;
  std::string defaultButton;
  std::optional<std::string> alternateButton;
  std::optional<std::string> otherButton;
  bool showsSuppressionButton = false;
  std::string suppressionButtonTitle;
  bool suppressionButtonChecked = false;
};

/// Button returns, valued as the platform values them for alerts of this kind.
enum AlertReturn : int { AlertDefaultReturn = 1, AlertAlternateReturn = 0, AlertOtherReturn = -1 };

struct AlertResponse {
  int buttonReturn = AlertDefaultReturn;
  /// The suppression box's state when the alert closed.
  bool suppressionButtonChecked = false;
};

/// Modal alerts. `runModal` must be called on the main thread; it runs the main loop nested while
/// it waits, so timers keep firing.
class Alerts {
 public:
  virtual ~Alerts() = default;
  virtual AlertResponse runModal(const AlertRequest& request) = 0;
};

}  // namespace zar::platform
