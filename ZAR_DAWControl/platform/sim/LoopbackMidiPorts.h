#pragma once

#include <memory>
#include <thread>

#include "ZAR_DAWControl/platform/MidiPorts.h"

namespace zar::sim {

/// In-process MIDI ports, as the simulated desktop's MIDI service. A request without ports to
/// connect makes a virtual pair under its name; a request naming ports connects to the virtual
/// pair whose name contains them, as Pro Tools connects to the framework's virtual ports: what
/// one side sends, the other receives. Messages are delivered in order on one MIDI thread of the
/// loopback, never on the sender's thread, so a receiver may send at once without re-entering
/// the other side. Thread-safe.
class LoopbackMidiPorts final : public platform::MidiPorts {
 public:
  static constexpr const char* kApi = "loopback";

  LoopbackMidiPorts();
  ~LoopbackMidiPorts() override;
  LoopbackMidiPorts(const LoopbackMidiPorts&) = delete;
  LoopbackMidiPorts& operator=(const LoopbackMidiPorts&) = delete;

  /// Accepts the API "loopback" or none.
  std::shared_ptr<platform::MidiPortPair> open(const platform::MidiPortRequest& request, platform::MidiReceiver receiver,
                                               std::string* error = nullptr) override;

  /// Returns when every message sent so far, and every message sent while they were received,
  /// has been delivered. On the MIDI thread (a receiver that sleeps) it returns at once.
  void waitUntilIdle();
  /// Messages delivered so far.
  std::uint64_t deliveredCount() const;

  struct Hub;

 private:
  std::shared_ptr<Hub> _hub;
  std::thread _thread;
};

}  // namespace zar::sim
