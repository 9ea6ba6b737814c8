#include "ZAR_DAWControl/platform/midi/ZAR_MIDIOutput.h"

#include <algorithm>

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"

ZAR_MIDIOutput::ZAR_MIDIOutput(std::shared_ptr<ZAR_MIDISystem> system) : _system(std::move(system)) {}

bool ZAR_MIDIOutput::sendMIDIMessage(std::span<const std::uint8_t> message) {
  const bool wellFormed = !message.empty() && message.size() <= 3 && message[0] >= 0x80 &&
                          std::all_of(message.begin() + 1, message.end(), [](std::uint8_t b) { return b < 0x80; });
  if (!wellFormed) {
    ZAR_LOG_WARN("Dropped a malformed MIDI message of {} bytes", message.size());
    return false;
  }
  return _system->sendHUIMessage(message);
}
