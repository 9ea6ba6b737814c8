#pragma once

#include <cstdint>
#include <memory>
#include <span>

class ZAR_MIDISystem;

/// One MIDI output of the MIDI system; HUI messages to Pro Tools go through it.
class ZAR_MIDIOutput {
 public:
  explicit ZAR_MIDIOutput(std::shared_ptr<ZAR_MIDISystem> system);

  /// Sends one MIDI message of one to three bytes (HUI uses three). A message that does not start
  /// with a status byte, has a status byte inside or is longer is dropped: false.
  bool sendMIDIMessage(std::span<const std::uint8_t> message);

 private:
  std::shared_ptr<ZAR_MIDISystem> _system;
};
