#pragma once

#include <string_view>

#include "ZAR_DAWControl/platform/utility/TCTime.h"

/// Reading the timecode texts of Pro Tools' counters.
class ZAR_TCHelper {
 public:
  /// Subframes are hundredths of a frame, as Pro Tools counts them.
  static constexpr std::uint8_t subframeDivisor = 100;

  /// Parses "HH:MM:SS:FF", drop-frame "HH:MM:SS;FF", each optionally followed by "." and two
  /// subframe digits; blanks around the text are ignored. Anything else (the counter texts of
  /// bars|beats, min:sec, samples or feet+frames, out-of-range fields) gives an invalid record.
  static TCTime tcTimeFromString(std::string_view text);
};
