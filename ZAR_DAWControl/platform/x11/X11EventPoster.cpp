#include "ZAR_DAWControl/platform/x11/X11EventPoster.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <cmath>

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/platform/utility/Utf8Text.h"

namespace zar::x11 {

using platform::KeyboardLayout;
using platform::MouseEventType;

X11EventPoster::X11EventPoster(std::shared_ptr<X11Display> display, std::shared_ptr<X11Keyboard> keyboard,
                               std::shared_ptr<AtspiMirror> mirror)
    : _display(std::move(display)), _keyboard(std::move(keyboard)), _mirror(std::move(mirror)) {}

platform::EventSourceRef X11EventPoster::createEventSource(std::int32_t stateID) {
  return std::make_shared<const platform::EventSource>(stateID);
}

std::optional<X11Keyboard::Keysym> X11EventPoster::keysymForEvent(const platform::KeyboardEvent& event) {
  const std::u32string characters = platform::Utf8Text::decode(event.characters);
  if (!characters.empty()) return X11Keyboard::keysymForCharacter(characters.front());
  const auto character =
      KeyboardLayout::characterForKeyCode(event.keyCode, (event.flags & platform::EventFlagMaskShift) != 0);
  if (!character) return std::nullopt;
  return X11Keyboard::keysymForCharacter(*character);
}

void X11EventPoster::postKeyboardEvent(const platform::ProcessSerialNumber& psn, const platform::KeyboardEvent& event) {
  const auto keysym = keysymForEvent(event);
  const auto pid = static_cast<std::int32_t>(psn.lowLongOfPSN);
  if (!keysym) {
    ZAR_LOG_DEBUG("Keyboard event with key code {} dropped: it types no character", event.keyCode);
    return;
  }
  if (psn.highLongOfPSN != 0 || pid <= 0 || !_keyboard->typeIntoProcess(*keysym, event.keyDown, pid)) {
    ZAR_LOG_DEBUG("Keyboard event for {}:{} lost: no window of that process takes keys", psn.highLongOfPSN,
                  psn.lowLongOfPSN);
  }
  _mirror->inputPosted();
}

void X11EventPoster::postMouseEvent(const platform::MouseEvent& event) {
  if (!_display->connected()) return;
  const platform::Point origin = _display->primaryOrigin();
  const auto coordinate = [](double value) {
    return static_cast<std::int16_t>(std::lround(std::fmax(-32768.0, std::fmin(32767.0, value))));
  };
  const std::int16_t x = coordinate(event.location.x + origin.x);
  const std::int16_t y = coordinate(event.location.y + origin.y);
  std::uint8_t type = 0;
  switch (event.type) {
    case MouseEventType::leftMouseDown:
    case MouseEventType::rightMouseDown:
      type = XCB_BUTTON_PRESS;
      break;
    case MouseEventType::leftMouseUp:
    case MouseEventType::rightMouseUp:
      type = XCB_BUTTON_RELEASE;
      break;
    case MouseEventType::mouseMoved:
    case MouseEventType::leftMouseDragged:
      break;
  }
  const bool right = event.type == MouseEventType::rightMouseDown || event.type == MouseEventType::rightMouseUp;
  const std::uint8_t button = right ? 3 : 1;

  std::lock_guard lock(_display->mutex());
  xcb_connection_t* connection = _display->connection();
  xcb_test_fake_input(connection, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, _display->root(), x, y, 0);
  if (type != 0) {
    xcb_test_fake_input(connection, type, button, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
  }
  if (type == XCB_BUTTON_PRESS && !_display->hasWindowManagerLocked()) {
    if (const auto window = _display->windowUnderPointerLocked()) _display->activateLocked(*window);
  }
  xcb_flush(connection);
  if (type == XCB_BUTTON_RELEASE) {  // a click is handled before the caller reads what it did
    if (const auto window = _display->windowUnderPointerLocked()) _display->settleLocked(*window, X11Keyboard::kSettleTimeout);
  }
  if (type != 0) _mirror->inputPosted();
}

}  // namespace zar::x11
