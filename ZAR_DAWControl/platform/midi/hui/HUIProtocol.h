#pragma once

// Addresses and byte values of the HUI control-surface protocol, kept in one place.

#include <array>
#include <cstdint>

namespace zar::hui {

/// Timers fire at their date give or take rounding: a deadline this close counts as come.
inline constexpr double kTimeTolerance = 1e-9;

/// One channel voice message of HUI: status and two data bytes.
using HUIMessage = std::array<std::uint8_t, 3>;

inline constexpr std::uint8_t kNoteOff = 0x80;
inline constexpr std::uint8_t kNoteOn = 0x90;
inline constexpr std::uint8_t kControlChange = 0xB0;
inline constexpr std::uint8_t kSystemReset = 0xFF;

inline constexpr std::uint8_t kPingVelocity = 0x00;
inline constexpr std::uint8_t kPingReplyVelocity = 0x7F;

/// Surface to host: which zone the following switch messages address, and a port of it.
inline constexpr std::uint8_t kSwitchZoneController = 0x0F;
inline constexpr std::uint8_t kSwitchPortController = 0x2F;
/// Host to surface: the same for lamps.
inline constexpr std::uint8_t kLampZoneController = 0x0C;
inline constexpr std::uint8_t kLampPortController = 0x2C;

/// High nibble of a port value: 0x40 on, 0x00 off; 0x20 is Pro Tools' "unknown" and carries no state.
inline constexpr std::uint8_t kPortOn = 0x40;
inline constexpr std::uint8_t kPortStateMask = 0xF0;
inline constexpr std::uint8_t kPortNumberMask = 0x0F;
inline constexpr std::uint8_t kPortsPerZone = 8;

inline constexpr int kStripsPerBank = 8;
/// The tracks the framework reaches over HUI: positions 0..63, eight banks of strips.
inline constexpr int kTrackCount = 64;

namespace zone {
/// Zones 0x00-0x07 are the channel strips of the bank in view.
inline constexpr std::uint8_t firstStrip = 0x00;
inline constexpr std::uint8_t lastStrip = 0x07;
inline constexpr std::uint8_t channelSelection = 0x0A;
inline constexpr std::uint8_t transport = 0x0E;
inline constexpr std::uint8_t transportMore = 0x0F;
}  // namespace zone

namespace stripPort {
inline constexpr std::uint8_t faderTouch = 0;
inline constexpr std::uint8_t select = 1;
inline constexpr std::uint8_t mute = 2;
inline constexpr std::uint8_t solo = 3;
inline constexpr std::uint8_t automation = 4;
inline constexpr std::uint8_t vSelect = 5;
inline constexpr std::uint8_t insert = 6;
inline constexpr std::uint8_t recordReady = 7;
}  // namespace stripPort

/// The strip lamps Pro Tools drives: mute, solo and record ready.
inline constexpr std::array<std::uint8_t, 3> kHostStripLamps{stripPort::mute, stripPort::solo, stripPort::recordReady};

namespace channelSelectionPort {
inline constexpr std::uint8_t channelLeft = 0;
inline constexpr std::uint8_t bankLeft = 1;
inline constexpr std::uint8_t channelRight = 2;
inline constexpr std::uint8_t bankRight = 3;
}  // namespace channelSelectionPort

namespace transportPort {
inline constexpr std::uint8_t talkback = 0;
inline constexpr std::uint8_t rewind = 1;
inline constexpr std::uint8_t fastForward = 2;
inline constexpr std::uint8_t stop = 3;
inline constexpr std::uint8_t play = 4;
inline constexpr std::uint8_t record = 5;
}  // namespace transportPort

}  // namespace zar::hui
