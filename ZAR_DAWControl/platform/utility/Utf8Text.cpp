#include "ZAR_DAWControl/platform/utility/Utf8Text.h"

#include <cstddef>
#include <optional>

namespace zar::platform {

namespace {

constexpr std::string_view replacementBytes = "\xEF\xBF\xBD";

struct Scanned {
  std::optional<char32_t> character;  ///< nothing for an ill-formed sequence
  std::size_t length;                 ///< of the character, or of the ill-formed sequence (at least 1)
};

// The character at the start of `bytes`, which are not empty.
Scanned scan(std::string_view bytes) {
  const auto lead = static_cast<unsigned char>(bytes[0]);
  if (lead < 0x80) return {lead, 1};
  std::size_t continuationBytes = 0;
  char32_t value = 0;
  // Range of the first continuation byte; the bounds exclude overlong forms, surrogates and values
  // above U+10FFFF.
  unsigned char firstLow = 0x80;
  unsigned char firstHigh = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    continuationBytes = 1;
    value = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    continuationBytes = 2;
    value = lead & 0x0F;
    if (lead == 0xE0) firstLow = 0xA0;
    if (lead == 0xED) firstHigh = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    continuationBytes = 3;
    value = lead & 0x07;
    if (lead == 0xF0) firstLow = 0x90;
    if (lead == 0xF4) firstHigh = 0x8F;
  } else {
    return {std::nullopt, 1};
  }
  std::size_t length = 1;
  while (length <= continuationBytes && length < bytes.size()) {
    const auto next = static_cast<unsigned char>(bytes[length]);
    if (next < (length == 1 ? firstLow : 0x80) || next > (length == 1 ? firstHigh : 0xBF)) break;
    value = (value << 6) | (next & 0x3F);
    ++length;
  }
  if (length <= continuationBytes) return {std::nullopt, length};
  return {value, length};
}

}  // namespace

std::u32string Utf8Text::decode(std::string_view bytes) {
  std::u32string text;
  text.reserve(bytes.size());
  while (!bytes.empty()) {
    const auto [character, length] = scan(bytes);
    text.push_back(character.value_or(replacementCharacter));
    bytes.remove_prefix(character ? length : 1);
  }
  return text;
}

std::string Utf8Text::encode(char32_t character) {
  if (character > 0x10FFFF || (character >= 0xD800 && character <= 0xDFFF)) {
    character = replacementCharacter;
  }
  std::string out;
  if (character < 0x80) {
    out.push_back(static_cast<char>(character));
  } else if (character < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (character >> 6)));
    out.push_back(static_cast<char>(0x80 | (character & 0x3F)));
  } else if (character < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (character >> 12)));
    out.push_back(static_cast<char>(0x80 | ((character >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (character & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (character >> 18)));
    out.push_back(static_cast<char>(0x80 | ((character >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((character >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (character & 0x3F)));
  }
  return out;
}

std::string Utf8Text::repaired(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  // Well-formed bytes are copied in runs; only an ill-formed sequence interrupts a run.
  std::size_t runStart = 0;
  std::size_t at = 0;
  while (at < bytes.size()) {
    const auto [character, length] = scan(bytes.substr(at));
    if (!character) {
      text.append(bytes.substr(runStart, at - runStart));
      text.append(replacementBytes);
      runStart = at + length;
    }
    at += length;
  }
  text.append(bytes.substr(runStart));
  return text;
}

}  // namespace zar::platform
