#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "ZAR_DAWControl/platform/AXTypes.h"

namespace zar::x11 {

/// The path of an application's object, and of the desktop's on the registry's connection.
inline constexpr const char* kAtspiRootPath = "/org/a11y/atspi/accessible/root";

/// An object on the accessibility bus: the unique bus name of its application's connection and
/// its object path.
struct AtspiRef {
  std::string bus;
  std::string path;
  friend bool operator==(const AtspiRef&, const AtspiRef&) = default;
};

/// What is read of an object, each with one call.
enum class AtspiField : std::uint8_t {
  role,         // AtspiRole number
  interfaces,   // AtspiInterface bits
  name,
  description,
  states,       // AtspiStateType bits
  children,
  parent,
  text,         // the Text interface's whole text
  value,        // the Value interface's current value
  extents,      // the Component interface's extents on the screen (X root coordinates)
  actionCount,  // the Action interface's number of actions
};
inline constexpr std::size_t kAtspiFieldCount = 11;

/// The interfaces an object implements, as bits.
enum AtspiInterface : std::uint64_t {
  kAtspiAction = 1U << 0,
  kAtspiComponent = 1U << 1,
  kAtspiEditableText = 1U << 2,
  kAtspiText = 1U << 3,
  kAtspiValue = 1U << 4,
};

struct AtspiExtents {
  std::int32_t x = 0, y = 0, width = 0, height = 0;
  friend bool operator==(const AtspiExtents&, const AtspiExtents&) = default;
};

/// A field's value: role (uint32), interfaces and states (uint64), name, description and text
/// (string), children (refs), parent (ref), value (double), extents, action count (int32).
using AtspiValue = std::variant<std::monostate, std::uint32_t, std::uint64_t, std::string, std::vector<AtspiRef>,
                                AtspiRef, double, AtspiExtents, std::int32_t>;

struct AtspiRead {
  AtspiRef ref;
  AtspiField field;
};

/// The answer to a read: success with the value, or what went wrong: invalidUIElement when the
/// object or its application is gone, attributeUnsupported when the object lacks the interface,
/// apiDisabled when the bus can't be reached, cannotComplete for any other failure.
struct AtspiReply {
  platform::AXError error = platform::AXError::success;
  AtspiValue value;
};

/// Something the bus reported.
struct AtspiEvent {
  enum class Kind {
    changed,          // a field of `ref` changed
    applicationGone,  // the connection named `ref.bus` left the bus
    busLost,          // the connection to the bus closed: every object is gone
  };
  Kind kind = Kind::changed;
  AtspiRef ref;
  AtspiField field = AtspiField::name;
};

/// The accessibility bus as the mirror sees it: reads, the few writes the framework makes, and the
/// changes applications announce. Every call may be made from any thread and never holds a lock
/// of the caller's while it waits.
class AtspiTransport {
 public:
  using EventSink = std::function<void(const AtspiEvent&)>;

  virtual ~AtspiTransport() = default;

  /// Where every change goes, in the order the bus delivered it, on a thread of the transport.
  /// An event that reached the bus before the reply to a call has reached the sink before that
  /// call returns. Once this returns, a sink it replaced (an empty one included) is not called
  /// again.
  virtual void setEventSink(EventSink sink) = 0;
  /// Whether the bus can be reached now (connecting to it when it isn't yet).
  virtual bool reachable() = 0;
  /// The desktop: the object whose children are the applications' objects.
  virtual AtspiRef desktop() = 0;
  /// The reads, sent together; a reply for each, in their order.
  virtual std::vector<AtspiReply> read(const std::vector<AtspiRead>& reads) = 0;
  /// The process behind a bus name.
  virtual std::optional<std::int32_t> processOf(const std::string& bus) = 0;
  /// Performs the object's action of that index.
  virtual platform::AXError doAction(const AtspiRef& ref, std::int32_t index) = 0;
  /// The action's description, or its name when it has none.
  virtual platform::AXError actionText(const AtspiRef& ref, std::int32_t index, std::string& text) = 0;
  virtual platform::AXError setText(const AtspiRef& ref, const std::string& text) = 0;
  virtual platform::AXError setValue(const AtspiRef& ref, double value) = 0;
  /// Returns once every change the application announced before this call has reached the sink.
  virtual void barrier(const std::string& bus) = 0;
  /// The messages sent to the bus so far.
  virtual std::uint64_t messagesSent() const = 0;
};

}  // namespace zar::x11
