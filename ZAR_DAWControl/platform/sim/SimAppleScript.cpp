#include "ZAR_DAWControl/platform/sim/SimAppleScript.h"

#include <string_view>

#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"

namespace zar::sim {

namespace {

constexpr std::string_view scriptHead = "property sourceString : \"";
constexpr std::string_view scriptBody =
    "\nset cnt to length of sourceString"
    "\nrepeat with i from 1 to cnt"
    "\n    tell application \"System Events\" to keystroke character i of sourceString"
    "\nend repeat"
    "\ntell application \"System Events\" to key code 36";

// The text of the typing script's string literal (a backslash takes the next character as it is),
// or nothing when the source is not the typing script.
std::optional<std::string> typedTextOf(std::string_view source) {
  if (!source.starts_with(scriptHead)) {
    return std::nullopt;
  }
  std::string text;
  std::size_t i = scriptHead.size();
  for (; i < source.size() && source[i] != '"'; ++i) {
    if (source[i] == '\\' && ++i == source.size()) {
      break;
    }
    text.push_back(source[i]);
  }
  if (i >= source.size()) {
    return std::nullopt;
  }
  std::string_view rest = source.substr(i + 1);
  if (rest.ends_with('\n')) {
    rest.remove_suffix(1);
  }
  if (rest != scriptBody) {
    return std::nullopt;
  }
  return text;
}

}  // namespace

SimAppleScript::SimAppleScript(std::shared_ptr<platform::Clock> clock, std::shared_ptr<SimWorkspace> workspace,
                               std::shared_ptr<platform::EventPoster> eventPoster)
    : _clock(std::move(clock)), _workspace(std::move(workspace)), _eventPoster(std::move(eventPoster)) {}

std::optional<platform::AppleScriptError> SimAppleScript::execute(const std::string& source) {
  const std::optional<std::string> text = typedTextOf(source);
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
