#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/AXTypes.h"
#include "ZAR_DAWControl/platform/x11/AtspiTransport.h"

namespace zar::x11 {

class AtspiMirror;

/// An accessibility element on the AT-SPI bus: an object of another process, as the mirror knows
/// it. There is one element per object for as long as anything holds it, so two handles stand for
/// the same object exactly when they are the same handle. The element of an application asked
/// for by process id may not be found yet (the process hasn't joined the bus); the mirror looks
/// for it again at every call until it finds it, and the element then stands for that object.
///
/// Everything but the identity is the mirror's, read and written under its lock.
class AtspiElement final : public platform::AXUIElement {
 public:
  /// The application behind a bus name: its process and whether it is still there.
  struct Application {
    explicit Application(std::string busName) : bus(std::move(busName)) {}
    ~Application();
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    const std::string bus;
    std::optional<std::int32_t> pid;
    /// A descriptor that becomes readable when the process ends (-1: none).
    int processHandle = -1;
    bool gone = false;
    /// The input epoch of the mirror that the last barrier covered.
    std::uint64_t barrierEpoch = 0;
  };

  /// An object's fields (see `AtspiField`).
  struct Values {
    std::uint32_t role = 0;
    std::uint64_t interfaces = 0;
    std::uint64_t states = 0;
    std::string name;
    std::string description;
    std::string text;
    std::vector<std::shared_ptr<AtspiElement>> children;
    /// Nobody's (an empty bus name) for an object without a parent.
    AtspiRef parent;
    double value = 0;
    AtspiExtents extents;
    std::int32_t actionCount = 0;
  };

  /// What the mirror knows of one field.
  struct Slot {
    bool known = false;
    /// Moves at every change announced, so a read that was under way then is not kept as fresh.
    std::uint32_t generation = 0;
    double confirmedAt = 0;
    double readAt = 0;
  };

  /// An object of an application.
  AtspiElement(const AtspiMirror* owner, AtspiRef ref, std::shared_ptr<Application> application);
  /// The application of process `pid`, found at first use.
  AtspiElement(const AtspiMirror* owner, std::int32_t pid);

  const AtspiMirror* owner() const { return _owner; }
  /// Whether this element stands for an application's object found by process id.
  bool isApplicationOfProcess() const { return _pidAsked.has_value(); }
  /// Whether this element stands for an application's object.
  bool isApplication() const { return _pidAsked.has_value() || _ref.path == kAtspiRootPath; }

 private:
  friend class AtspiMirror;

  const AtspiMirror* const _owner;
  const AtspiRef _ref;
  const std::shared_ptr<Application> _application;
  const std::optional<std::int32_t> _pidAsked;
  /// For the element of a process: the application's object once found.
  std::shared_ptr<AtspiElement> _found;
  bool _gone = false;

  std::array<Slot, kAtspiFieldCount> _slots{};
  Values _values;
};

}  // namespace zar::x11
