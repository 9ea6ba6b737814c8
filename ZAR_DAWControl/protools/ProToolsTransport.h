#pragma once

#include <array>
#include <cstdint>

// The HUI messages of Pro Tools' transport zone (0x0E): ports 3, 4 and 5 are Stop, Play and Record.
namespace zar::protools::transport {

using Message = std::array<std::uint8_t, 3>;

/// The MIDI output that carries HUI messages.
inline constexpr int kHUIEventType = 8;

inline constexpr Message zoneSelectBytes{0xB0, 0x0F, 0x0E};
inline constexpr Message stopPortOnBytes{0xB0, 0x2F, 0x43};
inline constexpr Message playPortOnBytes{0xB0, 0x2F, 0x44};
inline constexpr Message playPortOffBytes{0xB0, 0x2F, 0x04};
inline constexpr Message recPortOnBytes{0xB0, 0x2F, 0x45};
inline constexpr Message recPortOffBytes{0xB0, 0x2F, 0x05};

/// Space bar: Pro Tools' play/stop toggle.
inline constexpr std::uint16_t kSpaceKeyCode = 49;

/// Pauses, in seconds.
inline constexpr double kHUIConnectionWait = 0.100;
inline constexpr double kSelectionPause = 0.200;
inline constexpr double kReviewSelectionPause = 0.100;

}  // namespace zar::protools::transport
