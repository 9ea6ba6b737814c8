#include "ZAR_DAWControl/platform/utility/TypingScript.h"

#include <fmt/format.h>

#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"

namespace zar::platform {

namespace {

constexpr std::string_view kHead = "property sourceString : \"";

// What follows the text: type it a character at a time, then press Return.
const std::string& body() {
  static const std::string text = fmt::format(
      "\nset cnt to length of sourceString"
      "\nrepeat with i from 1 to cnt"
      "\n    tell application \"System Events\" to keystroke character i of sourceString"
      "\nend repeat"
      "\ntell application \"System Events\" to key code {}",
      KeyboardLayout::returnKeyCode);
  return text;
}

}  // namespace

std::string TypingScript::compose(std::string_view text) {
  const std::string& tail = body();
  std::string script(kHead);
  script.reserve(kHead.size() + text.size() + 1 + tail.size());
  for (const char c : text) {
    if (c == '"' || c == '\\') script += '\\';
    script += c;
  }
  script += '"';
  script += tail;
  return script;
}

std::optional<std::string> TypingScript::typedText(std::string_view script) {
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
  if (rest != body()) return std::nullopt;
  return text;
}

}  // namespace zar::platform
