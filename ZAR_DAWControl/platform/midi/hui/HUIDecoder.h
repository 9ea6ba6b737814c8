#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "ZAR_DAWControl/platform/midi/MidiMessageSplitter.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIEvent.h"

namespace zar::hui {

/// Turns a MIDI byte stream from either side into HUI events. Bytes may come in any chunking and
/// with running status (`MidiMessageSplitter` frames them); the selected lamp and switch zones are
/// kept until the next zone select.
/// Anything that is not HUI (other channels, other messages, system exclusive, stray data bytes,
/// Pro Tools' "unknown" port values) is skipped. Not thread-safe: one decoder per input stream.
class HUIDecoder {
 public:
  std::vector<HUIEvent> decode(std::span<const std::uint8_t> bytes);
  /// Forgets running status, zones and any partial message.
  void reset();

 private:
  void handleMessage(std::span<const std::uint8_t> message, std::vector<HUIEvent>& events);
  static std::optional<HUIEvent> portEvent(HUIEvent::Kind kind, std::optional<std::uint8_t> zone, std::uint8_t value);

  platform::MidiMessageSplitter _splitter;
  std::optional<std::uint8_t> _lampZone;
  std::optional<std::uint8_t> _switchZone;
};

}  // namespace zar::hui
