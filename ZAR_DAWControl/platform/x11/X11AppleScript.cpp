#include "ZAR_DAWControl/platform/x11/X11AppleScript.h"

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/platform/utility/Utf8Text.h"
#include "ZAR_DAWControl/platform/utility/TypingScript.h"

namespace zar::x11 {

X11AppleScript::X11AppleScript(std::shared_ptr<X11Keyboard> keyboard, std::shared_ptr<AtspiMirror> mirror)
    : _keyboard(std::move(keyboard)), _mirror(std::move(mirror)) {}

std::optional<platform::AppleScriptError> X11AppleScript::execute(const std::string& source) {
  const auto text = platform::TypingScript::typedText(source);
  if (!text) {
    return platform::AppleScriptError{syntaxErrorNumber, "Only the typing script can run on this desktop."};
  }
  std::u32string characters = platform::Utf8Text::decode(*text);
  characters.push_back(U'\n');  // the script's closing Return
  for (const char32_t character : characters) {
    const auto keysym = X11Keyboard::keysymForCharacter(character);
    if (!keysym) continue;
    if (!_keyboard->typeIntoFocus(*keysym, true) || !_keyboard->typeIntoFocus(*keysym, false)) {
      ZAR_LOG_WARN("The typing script could not type U+{:04X}", static_cast<std::uint32_t>(character));
    }
  }
  _keyboard->settleFocus();  // as the script ends once System Events has typed
  _mirror->inputPosted();
  return std::nullopt;
}

}  // namespace zar::x11
