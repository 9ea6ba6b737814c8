#pragma once

#include "ZAR_DAWControl/platform/MidiPorts.h"

namespace zar::native {

/// MIDI ports through RtMidi, on ALSA's sequencer ("alsa", the default) or JACK ("jack"); the API
/// is always chosen explicitly, never by RtMidi's own search. Virtual ports carry the request's
/// name (JACK clients may get a suffix when the name is taken). Received messages come one at a
/// time on RtMidi's input thread; system exclusive, timing and active sensing are filtered out.
class RtMidiPorts final : public platform::MidiPorts {
 public:
  std::shared_ptr<platform::MidiPortPair> open(const platform::MidiPortRequest& request, platform::MidiReceiver receiver,
                                               std::string* error = nullptr) override;
};

}  // namespace zar::native
