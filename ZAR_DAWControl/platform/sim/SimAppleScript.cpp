#include "ZAR_DAWControl/platform/sim/SimAppleScript.h"

#include <string_view>
#include <variant>

#include <fmt/format.h>

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

using CompileResult = std::variant<std::string, platform::AppleScriptError>;

platform::AppleScriptError syntaxError(std::string message) {
  return platform::AppleScriptError{SimAppleScript::syntaxErrorNumber, std::move(message)};
}

// The text of the typing script's string literal, or why the script doesn't compile.
CompileResult compileTypingScript(std::string_view source) {
  if (!source.starts_with(scriptHead)) {
    return syntaxError("Expected the typing script's “property sourceString” line.");
  }
  std::string text;
  std::size_t i = scriptHead.size();
  for (;; ++i) {
    if (i >= source.size()) {
      return syntaxError("Expected “\"” but found end of script.");
    }
    const char c = source[i];
    if (c == '"') {
      break;
    }
    if (c != '\\') {
      text.push_back(c);
      continue;
    }
    if (++i >= source.size()) {
      return syntaxError("Expected “\"” but found end of script.");
    }
    switch (source[i]) {
      case '"': text.push_back('"'); break;
      case '\\': text.push_back('\\'); break;
      case 'n': text.push_back('\n'); break;
      case 't': text.push_back('\t'); break;
      case 'r': text.push_back('\r'); break;
      default: return syntaxError(fmt::format("Unknown escape “\\{}” in a string.", source[i]));
    }
  }
  std::string_view rest = source.substr(i + 1);
  const auto lineEnd = rest.find('\n');
  if (lineEnd != 0) {
    const auto found = rest.substr(0, lineEnd);
    return syntaxError(found.empty() ? "Expected end of line but found end of script."
                                     : fmt::format("Expected end of line but found “{}”.", found));
  }
  if (rest.ends_with('\n')) {
    rest.remove_suffix(1);
  }
  if (rest != scriptBody) {
    return syntaxError("Expected the typing script's keystroke loop.");
  }
  return text;
}

}  // namespace

SimAppleScript::SimAppleScript(std::shared_ptr<platform::Clock> clock, std::shared_ptr<SimWorkspace> workspace,
                               std::shared_ptr<platform::EventPoster> eventPoster)
    : _clock(std::move(clock)), _workspace(std::move(workspace)), _eventPoster(std::move(eventPoster)) {}

std::optional<platform::AppleScriptError> SimAppleScript::execute(const std::string& source) {
  const CompileResult compiled = compileTypingScript(source);
  std::optional<platform::AppleScriptError> error;
  if (const auto* failure = std::get_if<platform::AppleScriptError>(&compiled)) {
    error = *failure;
  } else {
    for (auto& event : platform::KeyboardLayout::keyEventsForText(std::get<std::string>(compiled), false)) {
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
