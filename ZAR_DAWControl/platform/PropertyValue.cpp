#include "ZAR_DAWControl/platform/PropertyValue.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>

#include <fmt/format.h>

namespace zar::platform {

namespace {

std::size_t skipBlanks(const std::string& text, std::size_t i) {
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i])) != 0) {
    ++i;
  }
  return i;
}

bool textBoolValue(const std::string& text) {
  std::size_t i = skipBlanks(text, 0);
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    ++i;
  }
  while (i < text.size() && text[i] == '0') {
    ++i;
  }
  if (i >= text.size()) {
    return false;
  }
  const char c = text[i];
  return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

std::int64_t textIntegerValue(const std::string& text) {
  std::size_t i = skipBlanks(text, 0);
  if (i < text.size() && text[i] == '+') {
    ++i;
  }
  std::int64_t value = 0;
  const char* first = text.data() + i;
  const char* last = text.data() + text.size();
  const auto [end, error] = std::from_chars(first, last, value);
  if (error == std::errc::result_out_of_range) {
    return (first < last && *first == '-') ? std::numeric_limits<std::int64_t>::min()
                                           : std::numeric_limits<std::int64_t>::max();
  }
  return error == std::errc() ? value : 0;
}

std::int64_t truncated(double value) {
  if (std::isnan(value)) {
    return 0;
  }
  if (value >= 9.2233720368547758e18) {
    return std::numeric_limits<std::int64_t>::max();
  }
  if (value <= -9.2233720368547758e18) {
    return std::numeric_limits<std::int64_t>::min();
  }
  return static_cast<std::int64_t>(value);
}

}  // namespace

bool PropertyValue::boolValue() const {
  if (const auto* b = get<bool>()) return *b;
  if (const auto* i = get<std::int64_t>()) return *i != 0;
  if (const auto* d = get<double>()) return *d != 0.0;
  if (const auto* s = get<std::string>()) return textBoolValue(*s);
  return false;
}

std::int64_t PropertyValue::integerValue() const {
  if (const auto* b = get<bool>()) return *b ? 1 : 0;
  if (const auto* i = get<std::int64_t>()) return *i;
  if (const auto* d = get<double>()) return truncated(*d);
  if (const auto* s = get<std::string>()) return textIntegerValue(*s);
  return 0;
}

std::optional<std::string> PropertyValue::stringValue() const {
  if (const auto* s = get<std::string>()) return *s;
  if (const auto* i = get<std::int64_t>()) return std::to_string(*i);
  if (const auto* d = get<double>()) return fmt::format("{}", *d);
  if (const auto* b = get<bool>()) return std::string(*b ? "1" : "0");
  return std::nullopt;
}

}  // namespace zar::platform
