#include "ZAR_DAWControl/platform/x11/X11Keyboard.h"

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <cstdlib>

#include "ZAR_DAWControl/platform/Log.h"

namespace zar::x11 {

namespace {

constexpr X11Keyboard::Keysym kReturn = 0xff0d;
constexpr X11Keyboard::Keysym kTab = 0xff09;
constexpr X11Keyboard::Keysym kBackSpace = 0xff08;
constexpr X11Keyboard::Keysym kShiftL = 0xffe1;
constexpr X11Keyboard::Keysym kUnicodeKeysymBase = 0x01000000;
constexpr X11Keyboard::Keysym kNoSymbol = 0;

}  // namespace

X11Keyboard::X11Keyboard(std::shared_ptr<X11Display> display) : _display(std::move(display)) {}

X11Keyboard::~X11Keyboard() {
  std::lock_guard lock(_display->mutex());
  if ((_remapped.empty() && _held.empty()) || !_display->connected() || _generation != _display->generation()) return;
  xcb_grab_server(_display->connection());
  for (const std::uint8_t keycode : std::vector(_held)) fakeWithFocusLocked(Stroke{keycode, false}, false, XCB_WINDOW_NONE);
  xcb_ungrab_server(_display->connection());
  const std::vector<Keysym> none(static_cast<std::size_t>(_keysymsPerKeycode), kNoSymbol);
  for (const auto& [keysym, keycode] : _remapped) {
    xcb_change_keyboard_mapping(_display->connection(), 1, keycode, static_cast<std::uint8_t>(_keysymsPerKeycode),
                                none.data());
  }
  xcb_flush(_display->connection());
}

std::optional<X11Keyboard::Keysym> X11Keyboard::keysymForCharacter(char32_t character) {
  switch (character) {
    case U'\n':
    case U'\r':
      return kReturn;
    case U'\t':
      return kTab;
    case U'\b':
      return kBackSpace;
    default:
      break;
  }
  if ((character >= 0x20 && character <= 0x7e) || (character >= 0xa0 && character <= 0xff)) return character;
  if (character < 0xa0 || character > 0x10ffff || (character >= 0xd800 && character <= 0xdfff)) return std::nullopt;
  return kUnicodeKeysymBase + character;
}

bool X11Keyboard::loadMappingLocked() {
  if (!_display->connected()) return false;
  if (_loaded && _generation == _display->generation()) return true;
  // A server of its own (the first, or one started again): nothing of an earlier one holds.
  _generation = _display->generation();
  _mapping.clear();
  _shiftKeycode.reset();
  _spareKeycodes.clear();
  _remapped.clear();
  _held.clear();
  xcb_connection_t* connection = _display->connection();
  const xcb_setup_t* setup = xcb_get_setup(connection);
  _minKeycode = setup->min_keycode;
  const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
  auto* reply = xcb_get_keyboard_mapping_reply(connection, xcb_get_keyboard_mapping(connection, _minKeycode, count),
                                               nullptr);
  if (reply == nullptr) return false;
  _keysymsPerKeycode = reply->keysyms_per_keycode;
  const auto* keysyms = xcb_get_keyboard_mapping_keysyms(reply);
  _mapping.assign(keysyms, keysyms + xcb_get_keyboard_mapping_keysyms_length(reply));
  std::free(reply);
  for (std::size_t keycode = 0; keycode < count; ++keycode) {
    const auto begin = _mapping.begin() + static_cast<std::ptrdiff_t>(keycode * static_cast<std::size_t>(_keysymsPerKeycode));
    const auto end = begin + _keysymsPerKeycode;
    const auto code = static_cast<std::uint8_t>(_minKeycode + keycode);
    if (std::all_of(begin, end, [](Keysym k) { return k == kNoSymbol; })) {
      _spareKeycodes.push_back(code);
    } else if (*begin == kShiftL && !_shiftKeycode) {
      _shiftKeycode = code;
    }
  }
  // The highest spare keys first: the low ones are where hardware keys usually get mapped later.
  std::reverse(_spareKeycodes.begin(), _spareKeycodes.end());
  _loaded = _keysymsPerKeycode > 0;
  return _loaded;
}

std::optional<X11Keyboard::Stroke> X11Keyboard::strokeLocked(Keysym keysym) {
  if (!loadMappingLocked()) return std::nullopt;
  const auto width = static_cast<std::size_t>(_keysymsPerKeycode);
  for (const std::size_t column : {std::size_t{0}, std::size_t{1}}) {
    if (column >= width || (column == 1 && !_shiftKeycode)) break;
    for (std::size_t i = 0; i + column < _mapping.size(); i += width) {
      if (_mapping[i + column] == keysym) {
        return Stroke{static_cast<std::uint8_t>(_minKeycode + i / width), column == 1};
      }
    }
  }
  // No key carries it: put it on a spare key, or on the one used longest ago when none is left.
  std::uint8_t keycode = 0;
  if (!_spareKeycodes.empty()) {
    keycode = _spareKeycodes.back();
    _spareKeycodes.pop_back();
  } else if (!_remapped.empty()) {
    keycode = _remapped.front().second;
    _remapped.erase(_remapped.begin());
  } else {
    ZAR_LOG_WARN("No key can type keysym {:#x}: the keyboard has no spare key", keysym);
    return std::nullopt;
  }
  const std::vector<Keysym> keysyms(width, keysym);  // the same character with or without Shift
  xcb_change_keyboard_mapping(_display->connection(), 1, keycode, static_cast<std::uint8_t>(width), keysyms.data());
  std::copy(keysyms.begin(), keysyms.end(), _mapping.begin() + static_cast<std::ptrdiff_t>((keycode - _minKeycode) * width));
  _remapped.emplace_back(keysym, keycode);
  return Stroke{keycode, false};
}

void X11Keyboard::fakeLocked(const Stroke& stroke, bool down) {
  xcb_connection_t* connection = _display->connection();
  const auto fake = [&](std::uint8_t type, std::uint8_t keycode) {
    xcb_test_fake_input(connection, type, keycode, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
  };
  if (!down) {
    fake(XCB_KEY_RELEASE, stroke.keycode);
    std::erase(_held, stroke.keycode);
    return;
  }
  if (std::find(_held.begin(), _held.end(), stroke.keycode) == _held.end()) _held.push_back(stroke.keycode);
  if (stroke.shift) fake(XCB_KEY_PRESS, *_shiftKeycode);
  fake(XCB_KEY_PRESS, stroke.keycode);
  if (stroke.shift) fake(XCB_KEY_RELEASE, *_shiftKeycode);
}

bool X11Keyboard::typeIntoFocus(Keysym keysym, bool down) {
  std::lock_guard lock(_display->mutex());
  const auto stroke = strokeLocked(keysym);
  if (!stroke) return false;
  fakeLocked(*stroke, down);
  xcb_flush(_display->connection());
  return true;
}

bool X11Keyboard::typeIntoProcess(Keysym keysym, bool down, std::int32_t pid) {
  std::lock_guard lock(_display->mutex());
  const auto stroke = strokeLocked(keysym);
  if (!stroke) return false;
  xcb_connection_t* connection = _display->connection();
  // Nobody else's requests run while the server is grabbed: the focus seen is the focus the key gets.
  xcb_grab_server(connection);
  const auto windows = _display->windowsOfProcessLocked(pid);
  std::optional<X11Display::Window> target;
  const auto focused = _display->focusedWindowLocked();
  if (focused && std::find(windows.begin(), windows.end(), *focused) != windows.end()) {
    fakeLocked(*stroke, down);
    target = focused;
  } else if (!windows.empty()) {
    if (fakeWithFocusLocked(*stroke, down, windows.front())) target = windows.front();
  } else if (!down && std::find(_held.begin(), _held.end(), stroke->keycode) != _held.end()) {
    // The process went away between the press and the release: the key must not stay down (the
    // server would repeat it into whichever window has the focus), and no other program gets it.
    fakeWithFocusLocked(*stroke, false, XCB_WINDOW_NONE);
  }
  xcb_ungrab_server(connection);
  xcb_flush(connection);
  if (target) _display->settleLocked(*target, kSettleTimeout);
  return target.has_value();
}

bool X11Keyboard::fakeWithFocusLocked(const Stroke& stroke, bool down, X11Display::Window window) {
  xcb_connection_t* connection = _display->connection();
  auto* previous = xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr);
  xcb_generic_error_t* error = xcb_request_check(
      connection, xcb_set_input_focus_checked(connection, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME));
  const bool sent = error == nullptr && previous != nullptr;
  if (sent) {
    fakeLocked(stroke, down);
    xcb_set_input_focus(connection, previous->revert_to, previous->focus, XCB_CURRENT_TIME);
  }
  std::free(error);
  std::free(previous);
  return sent;
}

void X11Keyboard::settleFocus() {
  std::lock_guard lock(_display->mutex());
  if (!_display->connected()) return;
  if (const auto window = _display->focusedWindowLocked()) _display->settleLocked(*window, kSettleTimeout);
}

}  // namespace zar::x11
