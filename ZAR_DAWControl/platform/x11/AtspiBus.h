#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/AXTypes.h"

typedef struct _AtspiAccessible AtspiAccessible;
typedef struct _GError GError;

namespace zar::x11 {

/// The process's connection to the accessibility bus through libatspi.
///
/// libatspi keeps global state and is not thread-safe, so every call into it runs under this
/// object's one lock (`run`). It gets a main context of its own that nobody iterates: replies and
/// signals are read only while a call waits, on the calling thread, so a GLib main loop of the
/// host never runs libatspi's handlers behind the lock's back. Properties that change (names,
/// states, children, values) are never cached: each read asks the application, so a rename shows
/// at once. Only an element's role and interfaces are kept after the first read.
///
/// libatspi aborts the process when it is initialised without a reachable bus, so the bus is
/// looked for first (as libatspi looks: AT_SPI_BUS_ADDRESS, then the session bus's org.a11y.Bus)
/// and libatspi is initialised only once that succeeded.
class AtspiBus {
 public:
  /// One application on the bus.
  struct Application {
    std::int32_t pid = 0;
    /// The application object's accessible name and description.
    std::string name;
    std::string description;
  };

  /// The one bus of the process.
  static AtspiBus& shared();

  /// Whether the bus answers; initialises libatspi the first time it does.
  bool reachable();
  /// Whether toolkit accessibility is switched on (org.a11y.Status IsEnabled on the session bus),
  /// the switch toolkits other than GTK 3 read before they join the bus.
  bool toolkitAccessibilityEnabled();

  /// Runs `call` under the lock, with libatspi initialised; false (and `call` not run) when the bus
  /// is not reachable.
  bool run(const std::function<void()>& call);

  // The following must be called inside `run`.

  /// The applications on the bus, in the registry's order.
  std::vector<Application> applicationsLocked();
  /// The application object of a process, or null; a new reference.
  AtspiAccessible* applicationLocked(std::int32_t pid);
  /// The process of an accessible's application (cached per connection), 0 when unknown.
  std::int32_t pidLocked(AtspiAccessible* accessible);
  /// The accessible's states (bit n set: `AtspiStateType` n), read with one call; nothing with the
  /// result code in `result` when the call fails. (libatspi's state sets ask again at every test.)
  std::optional<std::uint64_t> statesLocked(AtspiAccessible* accessible, platform::AXError& result);
  /// Whether the accessible's application is still connected to the bus.
  bool applicationConnectedLocked(AtspiAccessible* accessible);
  /// The result code for a failed call on an accessible of process `pid`: invalidUIElement when
  /// the application left the bus or the object no longer exists, cannotComplete otherwise.
  /// Frees the error.
  platform::AXError errorLocked(AtspiAccessible* accessible, GError* error);

  /// Drops a reference to an accessible (takes the lock).
  void release(AtspiAccessible* accessible);

 private:
  AtspiBus() = default;
  bool initialiseLocked();

  std::recursive_mutex _mutex;
  bool _initialised = false;
  /// Process ids by bus name: a connection's name is never reused while the bus runs.
  std::map<std::string, std::int32_t> _pids;
};

}  // namespace zar::x11
