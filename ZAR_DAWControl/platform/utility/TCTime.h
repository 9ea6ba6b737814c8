#pragma once

#include <cstdint>

/// A timecode value, passed by value.
struct TCTime {
  std::uint32_t hours = 0;
  std::uint32_t minutes = 0;
  std::uint32_t seconds = 0;
  std::uint32_t frames = 0;
  std::uint32_t subframes = 0;
  /// Subframes per frame.
  std::uint8_t subframeDivisor = 0;
  /// Non-zero: the record holds no timecode.
  std::uint8_t isInvalid = 0;
  friend bool operator==(const TCTime&, const TCTime&) = default;
};

/// The record that stands for no timecode: all fields 0 and `isInvalid` set.
inline constexpr TCTime TCTimeInvalid{0, 0, 0, 0, 0, 0, 1};
