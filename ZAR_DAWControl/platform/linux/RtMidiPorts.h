#pragma once

#include "ZAR_DAWControl/platform/MidiPorts.h"

namespace zar::native {

/// MIDI ports on ALSA's sequencer ("alsa", the default) through RtMidi, or on JACK ("jack")
/// through `JackMidiPortPair`; the API is always chosen explicitly, never by RtMidi's own search.
/// Virtual ALSA ports carry the request's name; JACK's are the ports "in" and "out" of a client of
/// that name (with a suffix when the name is taken). Received messages come one at a time on the
/// pair's input thread; system exclusive, time code, timing and active sensing are filtered out.
class RtMidiPorts final : public platform::MidiPorts {
 public:
  std::shared_ptr<platform::MidiPortPair> open(const platform::MidiPortRequest& request, platform::MidiReceiver receiver,
                                               std::string* error = nullptr) override;
};

}  // namespace zar::native
