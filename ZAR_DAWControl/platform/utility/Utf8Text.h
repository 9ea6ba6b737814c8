#pragma once

#include <string>
#include <string_view>

namespace zar::platform {

/// UTF-8 to code points and back, and bytes that should be UTF-8 made valid. Well-formed means as
/// Unicode has it: no overlong forms, no surrogates, nothing above U+10FFFF.
class Utf8Text {
 public:
  static constexpr char32_t replacementCharacter = U'\uFFFD';

  /// The code points of a text; each byte that doesn't start a well-formed sequence becomes one
  /// U+FFFD (a character cut short is as many U+FFFD as it has bytes).
  static std::u32string decode(std::string_view bytes);
  /// The UTF-8 form of one code point (U+FFFD for a surrogate or a value above U+10FFFF).
  static std::string encode(char32_t character);
  /// Valid input unchanged; each ill-formed sequence (the longest prefix of a would-be character,
  /// or a single stray byte) becomes one U+FFFD. The result is valid UTF-8, so it can be shown and
  /// written back safely.
  static std::string repaired(std::string_view bytes);
};

}  // namespace zar::platform
