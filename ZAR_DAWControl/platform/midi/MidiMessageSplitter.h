#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace zar::platform {

/// Cuts a MIDI byte stream into complete messages, each with its status byte (running status
/// written out), for backends and recorders that deal in whole messages. Real-time bytes become
/// messages of their own; system exclusive stays whole up to its end byte; stray data bytes and
/// incomplete messages are dropped. Keeps running status across calls.
class MidiMessageSplitter {
 public:
  std::vector<std::vector<std::uint8_t>> split(std::span<const std::uint8_t> bytes);

 private:
  std::uint8_t _runningStatus = 0;
  std::vector<std::uint8_t> _current;
  bool _inSystemExclusive = false;
};

}  // namespace zar::platform
