#include "ZAR_DAWControl/modes/Utf8Text.h"

#include <cstddef>

namespace zar::modes {

namespace {

constexpr std::string_view replacementCharacter = "\xEF\xBF\xBD";

struct LeadByte {
  std::size_t continuationBytes = 0;
  // Range of the first continuation byte; the bounds exclude overlong forms, surrogates and
  // values above U+10FFFF.
  unsigned char firstLow = 0x80;
  unsigned char firstHigh = 0xBF;
};

// Nothing for a byte that cannot start a character.
bool classify(unsigned char byte, LeadByte& lead) {
  if (byte >= 0xC2 && byte <= 0xDF) {
    lead = {1, 0x80, 0xBF};
  } else if (byte == 0xE0) {
    lead = {2, 0xA0, 0xBF};
  } else if (byte == 0xED) {
    lead = {2, 0x80, 0x9F};
  } else if (byte >= 0xE1 && byte <= 0xEF) {
    lead = {2, 0x80, 0xBF};
  } else if (byte == 0xF0) {
    lead = {3, 0x90, 0xBF};
  } else if (byte >= 0xF1 && byte <= 0xF3) {
    lead = {3, 0x80, 0xBF};
  } else if (byte == 0xF4) {
    lead = {3, 0x80, 0x8F};
  } else {
    return false;
  }
  return true;
}

}  // namespace

std::string utf8TextFromBytes(std::string_view bytes) {
  std::string text;
  text.reserve(bytes.size());
  // Well-formed bytes are copied in runs; only an ill-formed sequence interrupts a run.
  std::size_t runStart = 0;
  std::size_t i = 0;
  while (i < bytes.size()) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (byte < 0x80) {
      ++i;
      continue;
    }
    LeadByte lead;
    std::size_t end = i + 1;
    std::size_t matched = 0;
    const bool leads = classify(byte, lead);
    while (leads && matched < lead.continuationBytes && end < bytes.size()) {
      const auto next = static_cast<unsigned char>(bytes[end]);
      const unsigned char low = matched == 0 ? lead.firstLow : 0x80;
      const unsigned char high = matched == 0 ? lead.firstHigh : 0xBF;
      if (next < low || next > high) break;
      ++end;
      ++matched;
    }
    if (!leads || matched < lead.continuationBytes) {
      text.append(bytes.substr(runStart, i - runStart));
      text.append(replacementCharacter);
      runStart = end;
    }
    i = end;
  }
  text.append(bytes.substr(runStart));
  return text;
}

}  // namespace zar::modes
