// Any text through tcTimeFromString: the result is the invalid record or a timecode in range,
// and a timecode is exactly what the text (without its surrounding blanks) spells out.

#include <fmt/format.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "ZAR_DAWControl/platform/utility/ZAR_TCHelper.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  const TCTime time = ZAR_TCHelper::tcTimeFromString(text);
  if (time == TCTimeInvalid) return 0;
  if (time.isInvalid != 0 || time.subframeDivisor != ZAR_TCHelper::subframeDivisor || time.hours > 23 ||
      time.minutes > 59 || time.seconds > 59 || time.frames > 59 || time.subframes > 99) {
    std::abort();
  }
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) text.remove_suffix(1);
  const char separator = text.size() > 8 ? text[8] : '?';
  if (separator != ':' && separator != ';') std::abort();
  std::string spelled =
      fmt::format("{:02}:{:02}:{:02}{}{:02}", time.hours, time.minutes, time.seconds, separator, time.frames);
  if (text.size() > spelled.size()) spelled += fmt::format(".{:02}", time.subframes);
  if (text != spelled) std::abort();
  return 0;
}
