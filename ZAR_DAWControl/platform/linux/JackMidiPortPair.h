#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "ZAR_DAWControl/platform/MidiPorts.h"
#include "ZAR_DAWControl/platform/midi/MidiMessageSplitter.h"

namespace zar::native {

/// MIDI ports on a JACK server, made with libjack: one client named after the request, with the
/// MIDI ports "in" and "out". Whatever the server does, starting, stopping or dropping the client,
/// the host does not crash or hang on it:
/// - what JACK's process thread uses (the ports, two ring buffers) is freed only once the client
///   is closed;
/// - received messages go to the receiver on the pair's own thread, not on JACK's process thread,
///   which libjack cancels where it stands when the client closes;
/// - once the server has gone or dropped the client, sends fail at once, and the client is never
///   touched again: libjack deletes every client of a process whose server went away as soon as
///   the process opens another one, so closing it later could use freed memory. The few kilobytes
///   that JACK's threads may still use stay allocated for that reason.
class JackMidiPortPair final : public platform::MidiPortPair {
 public:
  /// Opens the pair; nothing, with the reason in `error`, when no server answers, the ports can't
  /// be made or nothing matches a port to connect to.
  static std::shared_ptr<platform::MidiPortPair> open(const platform::MidiPortRequest& request,
                                                      platform::MidiReceiver receiver, std::string* error);
  ~JackMidiPortPair() override;

  bool send(std::span<const std::uint8_t> bytes) override;
  /// False once the server went away or dropped the client.
  bool working() const override;
  std::string inputName() const override { return _inputName; }
  std::string outputName() const override { return _outputName; }

  /// What JACK's threads and the delivery thread share with the pair.
  struct Shared;
  struct Token;  // limits construction to `open`
  JackMidiPortPair(Token, std::shared_ptr<Shared> shared, std::string inputName, std::string outputName,
                   platform::MidiReceiver receiver);

 private:
  std::shared_ptr<Shared> _shared;
  std::string _inputName;
  std::string _outputName;
  std::mutex _sendMutex;
  platform::MidiMessageSplitter _splitter;
  bool _reportedGone = false;
  std::thread _delivery;
};

}  // namespace zar::native
