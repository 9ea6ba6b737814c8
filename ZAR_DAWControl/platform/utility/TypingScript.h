#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zar::platform {

/// The AppleScript with which the framework types text into the frontmost window (System Events
/// types it a character at a time, then presses Return), written by the framework and read back
/// by the desktops that run it without AppleScript.
class TypingScript {
 public:
  /// The script that types `text`; quotes and backslashes are escaped, so the text arrives intact.
  static std::string compose(std::string_view text);

  /// The text a typing script types (its string literal understands \", \\, \n, \t and \r), or
  /// nothing when the source isn't the typing script.
  static std::optional<std::string> typedText(std::string_view source);
};

}  // namespace zar::platform
