#include "ZAR_DAWControl/platform/x11/X11AppleScript.h"

#include <string_view>

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"

namespace zar::x11 {

namespace {

constexpr std::string_view kHead = "property sourceString : \"";
constexpr std::string_view kBody =
    "\nset cnt to length of sourceString"
    "\nrepeat with i from 1 to cnt"
    "\n    tell application \"System Events\" to keystroke character i of sourceString"
    "\nend repeat"
    "\ntell application \"System Events\" to key code 36";

}  // namespace

X11AppleScript::X11AppleScript(std::shared_ptr<X11Keyboard> keyboard) : _keyboard(std::move(keyboard)) {}

std::optional<std::string> X11AppleScript::typedText(const std::string& source) {
  const std::string_view script(source);
  if (!script.starts_with(kHead)) return std::nullopt;
  std::string text;
  std::size_t i = kHead.size();
  for (; i < script.size() && script[i] != '"'; ++i) {
    if (script[i] != '\\') {
      text.push_back(script[i]);
      continue;
    }
    if (++i == script.size()) return std::nullopt;
    switch (script[i]) {
      case '"': text.push_back('"'); break;
      case '\\': text.push_back('\\'); break;
      case 'n': text.push_back('\n'); break;
      case 't': text.push_back('\t'); break;
      case 'r': text.push_back('\r'); break;
      default: return std::nullopt;
    }
  }
  if (i == script.size()) return std::nullopt;  // no closing quote
  std::string_view rest = script.substr(i + 1);
  if (rest.ends_with('\n')) rest.remove_suffix(1);
  if (rest != kBody) return std::nullopt;
  return text;
}

std::optional<platform::AppleScriptError> X11AppleScript::execute(const std::string& source) {
  const auto text = typedText(source);
  if (!text) {
    return platform::AppleScriptError{syntaxErrorNumber, "Only the typing script can run on this desktop."};
  }
  std::u32string characters = platform::KeyboardLayout::decodeUTF8(*text);
  characters.push_back(U'\n');  // key code 36, Return
  for (const char32_t character : characters) {
    const auto keysym = X11Keyboard::keysymForCharacter(character);
    if (!keysym) continue;
    if (!_keyboard->typeIntoFocus(*keysym, true) || !_keyboard->typeIntoFocus(*keysym, false)) {
      ZAR_LOG_WARN("The typing script could not type U+{:04X}", static_cast<std::uint32_t>(character));
    }
  }
  _keyboard->settleFocus();  // as the script ends once System Events has typed
  return std::nullopt;
}

}  // namespace zar::x11
