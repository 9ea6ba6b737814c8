#include "ZAR_DAWControl/platform/utility/ZAR_TCHelper.h"

#include <array>
#include <cctype>

namespace {

bool isBlank(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

// Reads exactly two digits at `pos`.
bool twoDigits(std::string_view text, std::size_t pos, std::uint32_t& value) {
  if (pos + 2 > text.size() || !isDigit(text[pos]) || !isDigit(text[pos + 1])) {
    return false;
  }
  value = static_cast<std::uint32_t>((text[pos] - '0') * 10 + (text[pos + 1] - '0'));
  return true;
}

}  // namespace

TCTime ZAR_TCHelper::tcTimeFromString(std::string_view text) {
  // Layout: HH:MM:SS:FF or HH:MM:SS;FF, then optionally .ss (positions 0..10, 11..13).
  text = trimmed(text);
  if (text.size() != 11 && text.size() != 14) {
    return TCTimeInvalid;
  }
  std::array<std::uint32_t, 4> fields{};
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (!twoDigits(text, i * 3, fields[i])) {
      return TCTimeInvalid;
    }
  }
  if (text[2] != ':' || text[5] != ':' || (text[8] != ':' && text[8] != ';')) {
    return TCTimeInvalid;
  }
  std::uint32_t subframes = 0;
  if (text.size() == 14 && (text[11] != '.' || !twoDigits(text, 12, subframes))) {
    return TCTimeInvalid;
  }
  const auto [hours, minutes, seconds, frames] = fields;
  // Pro Tools' timecode runs to 23:59:59 at up to 60 frames per second.
  if (hours > 23 || minutes > 59 || seconds > 59 || frames > 59) {
    return TCTimeInvalid;
  }
  return TCTime{hours, minutes, seconds, frames, subframes, subframeDivisor, 0};
}
