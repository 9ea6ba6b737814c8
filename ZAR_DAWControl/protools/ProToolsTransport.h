#pragma once

// The pauses of the Pro Tools driver's passes. Its transport buttons are HUI's (zone
// `zar::hui::zone::transport`), pressed through `zar::hui::HUICodec`.
namespace zar::protools::transport {

/// Pauses, in seconds.
inline constexpr double kHUIConnectionWait = 0.100;
inline constexpr double kSelectionPause = 0.200;
inline constexpr double kReviewSelectionPause = 0.100;

}  // namespace zar::protools::transport
