#include "ZAR_DAWControl/platform/sim/SimAppleScript.h"

#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/platform/utility/TypingScript.h"

namespace zar::sim {

SimAppleScript::SimAppleScript(std::shared_ptr<platform::Clock> clock, std::shared_ptr<SimWorkspace> workspace,
                               std::shared_ptr<platform::EventPoster> eventPoster)
    : _clock(std::move(clock)), _workspace(std::move(workspace)), _eventPoster(std::move(eventPoster)) {}

std::optional<platform::AppleScriptError> SimAppleScript::execute(const std::string& source) {
  const std::optional<std::string> text = platform::TypingScript::typedText(source);
  std::optional<platform::AppleScriptError> error;
  if (!text) {
    error = platform::AppleScriptError{syntaxErrorNumber, "Only the typing script can run on this desktop."};
  } else {
    for (auto& event : platform::KeyboardLayout::keyEventsForText(*text, false)) {
      typeKey(std::move(event));
    }
    platform::KeyboardEvent returnKey;
    returnKey.keyCode = platform::KeyboardLayout::returnKeyCode;
    typeKey(returnKey);
    returnKey.keyDown = false;
    typeKey(returnKey);
  }
  std::lock_guard lock(_mutex);
  _executions.push_back(Execution{source, error});
  return error;
}

void SimAppleScript::typeKey(platform::KeyboardEvent event) {
  // System Events types into whichever application is frontmost at each keystroke.
  const auto frontmost = _workspace->frontmostApplication();
  if (!frontmost) {
    return;
  }
  platform::ProcessSerialNumber psn;
  if (_workspace->getProcessForPID(frontmost->processIdentifier(), psn) != platform::ProcessLookupNoErr) {
    return;
  }
  event.timestamp = _clock->now();
  _eventPoster->postKeyboardEvent(psn, event);
}

std::vector<SimAppleScript::Execution> SimAppleScript::executions() const {
  std::lock_guard lock(_mutex);
  return _executions;
}

}  // namespace zar::sim
