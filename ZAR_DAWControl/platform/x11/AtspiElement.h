#pragma once

#include <cstdint>

#include "ZAR_DAWControl/platform/AXTypes.h"

typedef struct _AtspiAccessible AtspiAccessible;

namespace zar::x11 {

/// An accessibility element on the AT-SPI bus: an accessible object of another process. The
/// element of a whole application may not be resolved yet (its process hasn't joined the bus);
/// it looks for its application again at every call until it finds it.
class AtspiElement final : public platform::AXUIElement {
 public:
  /// Takes over a reference to `accessible` (null for an application not found yet).
  AtspiElement(AtspiAccessible* accessible, std::int32_t pid, bool application);
  ~AtspiElement() override;
  AtspiElement(const AtspiElement&) = delete;
  AtspiElement& operator=(const AtspiElement&) = delete;

  std::int32_t pid() const { return _pid; }
  bool isApplication() const { return _application; }
  /// The accessible, or null; only to be used under the bus's lock.
  AtspiAccessible* accessibleLocked() const { return _accessible; }
  /// Resolves an application element (under the bus's lock); takes over the reference.
  void resolveLocked(AtspiAccessible* accessible) { _accessible = accessible; }

 private:
  AtspiAccessible* _accessible;
  const std::int32_t _pid;
  const bool _application;
};

}  // namespace zar::x11
