#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ZAR_DAWControl/platform/Geometry.h"

namespace zar::platform {

/// The process identity to which keyboard events are posted.
struct ProcessSerialNumber {
  std::uint32_t highLongOfPSN = 0;
  std::uint32_t lowLongOfPSN = 0;
  friend bool operator==(const ProcessSerialNumber&, const ProcessSerialNumber&) = default;
};

/// Modifier flags of an event, valued as the platform values them.
enum EventFlags : std::uint64_t {
  EventFlagNone = 0,
  EventFlagMaskShift = 0x00020000,
  EventFlagMaskControl = 0x00040000,
  EventFlagMaskAlternate = 0x00080000,
  EventFlagMaskCommand = 0x00100000,
};

/// The source of synthesised events (its state id: 1 is the combined session state).
class EventSource {
 public:
  explicit EventSource(std::int32_t stateID) : _stateID(stateID) {}
  std::int32_t stateID() const { return _stateID; }

 private:
  std::int32_t _stateID;
};
using EventSourceRef = std::shared_ptr<const EventSource>;

struct KeyboardEvent {
  std::uint16_t keyCode = 0;
  bool keyDown = true;
  std::uint64_t flags = EventFlagNone;
  /// The text the key types; empty for a bare key code (the receiver then maps the code).
  std::string characters;
  /// Event time stamp in clock seconds; 0 when not set.
  double timestamp = 0;
  EventSourceRef source;
};

/// Mouse event types, valued as the platform values them.
enum class MouseEventType : std::uint32_t {
  leftMouseDown = 1,
  leftMouseUp = 2,
  rightMouseDown = 3,
  rightMouseUp = 4,
  mouseMoved = 5,
  leftMouseDragged = 6,
};

enum class MouseButton : std::uint32_t { left = 0, right = 1, center = 2 };

struct MouseEvent {
  MouseEventType type = MouseEventType::mouseMoved;
  /// In accessibility coordinates (origin top left of the primary screen, y down).
  Point location;
  MouseButton button = MouseButton::left;
  /// The click-state field: 1 for a single click, 2 for the second click of a double-click.
  std::int64_t clickState = 1;
};

/// Synthesised input.
class EventPoster {
 public:
  virtual ~EventPoster() = default;
  virtual EventSourceRef createEventSource(std::int32_t stateID) = 0;
  /// Delivers a keyboard event to the process with that serial number; lost when none has it.
  virtual void postKeyboardEvent(const ProcessSerialNumber& psn, const KeyboardEvent& event) = 0;
  /// Posts a mouse event to the system's event stream (it reaches whatever lies under the point).
  virtual void postMouseEvent(const MouseEvent& event) = 0;
};

}  // namespace zar::platform
