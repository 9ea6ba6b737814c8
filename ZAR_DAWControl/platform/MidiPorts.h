#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace zar::platform {

/// Which MIDI ports to open.
struct MidiPortRequest {
  /// The backend's API: "alsa", "jack" or "loopback"; empty for the backend's own default.
  std::string api;
  /// The client name, and the name of the virtual ports made when nothing is to be connected.
  std::string name;
  /// When not empty: connect to the existing source (respectively destination) whose name
  /// contains this text, instead of making a virtual port.
  std::string connectInput;
  std::string connectOutput;
};

/// An open input/output pair. Closing (destruction) waits for a receive callback in progress,
/// unless it is called from that callback.
class MidiPortPair {
 public:
  virtual ~MidiPortPair() = default;
  /// Sends complete MIDI messages (running status allowed). False when the port can't send.
  virtual bool send(std::span<const std::uint8_t> bytes) = 0;
  /// False once the ports can never work again (their MIDI server went away): they are to be
  /// closed and opened anew.
  virtual bool working() const { return true; }
  /// Names of the two ports as other programs see them, for messages to the user.
  virtual std::string inputName() const = 0;
  virtual std::string outputName() const = 0;
};

/// Bytes received on a pair's input, called on the backend's MIDI thread, one call at a time.
using MidiReceiver = std::function<void(std::span<const std::uint8_t>)>;

/// A MIDI port backend.
class MidiPorts {
 public:
  virtual ~MidiPorts() = default;
  /// Opens a pair; nothing (with the reason in `error`) when the API is not this backend's, the
  /// MIDI service is unavailable or no port matches.
  virtual std::shared_ptr<MidiPortPair> open(const MidiPortRequest& request, MidiReceiver receiver,
                                             std::string* error = nullptr) = 0;
};

}  // namespace zar::platform
