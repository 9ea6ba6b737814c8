#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ZAR_DAWControl/platform/AppleScript.h"
#include "ZAR_DAWControl/platform/x11/AtspiMirror.h"
#include "ZAR_DAWControl/platform/x11/X11Keyboard.h"

namespace zar::x11 {

/// Linux has no AppleScript: this service runs the one script the framework has the system run,
/// the typing script, itself. It types the text of the script's `sourceString` (any Unicode) into
/// the window that has the keyboard focus, character by character, then presses Return, as the
/// system's event service would type into the frontmost application. Any other script doesn't
/// compile.
class X11AppleScript final : public platform::AppleScript {
 public:
  /// The error number of a script that doesn't compile.
  static constexpr int syntaxErrorNumber = -2741;

  /// The mirror hears of every text typed.
  X11AppleScript(std::shared_ptr<X11Keyboard> keyboard, std::shared_ptr<AtspiMirror> mirror);

  std::optional<platform::AppleScriptError> execute(const std::string& source) override;

 private:
  const std::shared_ptr<X11Keyboard> _keyboard;
  const std::shared_ptr<AtspiMirror> _mirror;
};

}  // namespace zar::x11
