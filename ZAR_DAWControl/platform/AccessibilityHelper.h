#pragma once

namespace zar::platform {

/// Whether this process may use the accessibility interface, and asking the user for it.
class AccessibilityHelper {
 public:
  virtual ~AccessibilityHelper() = default;
  virtual bool checkIfAccessibilityIsAvailable() = 0;
  /// Asks the user to grant the permission. Must run on the main thread.
  virtual void askUserToActivateAccessibility() = 0;
};

}  // namespace zar::platform
