#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ZAR_DAWControl/platform/EventPoster.h"

namespace zar::platform {

/// The US ANSI keyboard of the Mac: which virtual key (and whether Shift) types a character, and
/// the key events that type a whole text.
class KeyboardLayout {
 public:
  static constexpr std::uint16_t returnKeyCode = 36;
  static constexpr std::uint16_t tabKeyCode = 48;
  static constexpr std::uint16_t spaceKeyCode = 49;
  /// The code given to a character that no key types; its text travels in the event's characters.
  static constexpr std::uint16_t unmappedKeyCode = 0;

  struct KeyStroke {
    std::uint16_t keyCode = 0;
    bool shift = false;
    friend bool operator==(const KeyStroke&, const KeyStroke&) = default;
  };

  /// The key typing `character`, or nothing when no key of the layout types it. Return types
  /// "\n" (a "\r" is typed by Return too), Tab "\t" and Space " ".
  static std::optional<KeyStroke> keyCodeForCharacter(char32_t character);
  /// The character a key types, with or without Shift; nothing for a key that types no character.
  static std::optional<char32_t> characterForKeyCode(std::uint16_t keyCode, bool shift);

  /// A key-down and a key-up event per character of the text, each carrying the character in
  /// `characters`, and Return down and up at the end when asked. Shifted characters carry
  /// EventFlagMaskShift; a character without a key gets `unmappedKeyCode`. Each byte of invalid
  /// UTF-8 that starts no character is typed as U+FFFD (`Utf8Text::decode`).
  static std::vector<KeyboardEvent> keyEventsForText(std::string_view utf8, bool includingReturn);
};

}  // namespace zar::platform
