#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "ZAR_DAWControl/platform/x11/X11Display.h"

namespace zar::x11 {

/// Keys through the XTest extension. A character is typed with the key that carries its keysym in
/// the server's keyboard mapping (with Shift when it sits in the shifted column); a character that
/// no key carries is put on a spare key (one with no keysym) and typed there. Spare keys keep their
/// characters, so a key is never remapped while a client may still translate an earlier press of
/// it; they are given back when the keyboard object goes away. A key is never left down: one whose
/// release has no window to go to is released where no program gets it. A new connection to the
/// server (it was started again) reads the mapping anew.
class X11Keyboard {
 public:
  using Keysym = std::uint32_t;
  /// How long a program may take to handle the keys typed into it.
  static constexpr std::chrono::milliseconds kSettleTimeout{1000};

  explicit X11Keyboard(std::shared_ptr<X11Display> display);
  ~X11Keyboard();
  X11Keyboard(const X11Keyboard&) = delete;
  X11Keyboard& operator=(const X11Keyboard&) = delete;

  /// The keysym that types a character: Return for a line feed or carriage return, Tab, BackSpace,
  /// the Latin-1 keysyms, and the Unicode keysym (0x01000000 + code point) for the rest. Nothing
  /// for other control characters.
  static std::optional<Keysym> keysymForCharacter(char32_t character);

  /// Presses or releases the key of `keysym` where the focus is. False when nothing was sent.
  bool typeIntoFocus(Keysym keysym, bool down);
  /// Presses or releases the key of `keysym` into a top-level window of process `pid` only: when
  /// the focus is elsewhere it is moved to the process's topmost window for the event and given
  /// back after it, all under one server grab, so no other program can get the key. Returns once
  /// the process has handled the key (`X11Display::settleLocked`). False (and nothing sent) when
  /// the process shows no window or won't take the focus.
  bool typeIntoProcess(Keysym keysym, bool down, std::int32_t pid);
  /// Waits until the window that gets keys has handled those typed so far.
  void settleFocus();

 private:
  struct Stroke {
    std::uint8_t keycode = 0;
    bool shift = false;
  };

  bool loadMappingLocked();
  std::optional<Stroke> strokeLocked(Keysym keysym);
  void fakeLocked(const Stroke& stroke, bool down);
  /// Fakes the key while `window` (or no window: the key then reaches nobody) has the focus, and
  /// gives the focus back. False when the focus couldn't be moved there.
  bool fakeWithFocusLocked(const Stroke& stroke, bool down, X11Display::Window window);

  const std::shared_ptr<X11Display> _display;
  bool _loaded = false;
  std::uint64_t _generation = 0;  // of the display's connection the mapping was read on
  std::uint8_t _minKeycode = 0;
  int _keysymsPerKeycode = 0;
  std::vector<Keysym> _mapping;
  std::optional<std::uint8_t> _shiftKeycode;
  /// Spare keys not yet used, and the characters put on the others, in the order they were used.
  std::vector<std::uint8_t> _spareKeycodes;
  std::vector<std::pair<Keysym, std::uint8_t>> _remapped;
  /// Keys pressed and not yet released.
  std::vector<std::uint8_t> _held;
};

}  // namespace zar::x11
