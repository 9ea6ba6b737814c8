#pragma once

#include <cstdint>

/// The state a track is put into before, during or after a cue. A mode read from a settings file
/// may carry any 32-bit value (stored values are not range-checked), which the fixed underlying
/// type makes a valid value of this type.
enum ZAR_DAWTrackState : std::int32_t {
  ZAR_DAWTrackStatePlay = 0,
  ZAR_DAWTrackStateInput = 1,
  ZAR_DAWTrackStateMute = 2,
  ZAR_DAWTrackStateRecord = 3,
};

/// The value that stands for no state; only the null mode carries it.
inline constexpr std::int32_t ZAR_DAWTrackStateNone = -1;
