#include "ZAR_DAWControl/platform/linux/JackMidiPortPair.h"

#include <jack/jack.h>
#include <jack/midiport.h>
#include <jack/ringbuffer.h>

#include <atomic>
#include <optional>
#include <semaphore>
#include <string_view>
#include <system_error>
#include <vector>

#include "ZAR_DAWControl/platform/Log.h"

namespace zar::native {

namespace {
/// Each ring buffer holds messages as their length followed by their bytes.
using Length = std::uint32_t;
constexpr std::size_t kRingBufferBytes = 16 * 1024;

/// The pairs call libjack one at a time (JACK's own threads aside): an open after the server went
/// away deletes the process's clients and unmaps libjack's shared memory, under any other call that
/// is under way.
std::mutex& clientsMutex() {
  static std::mutex mutex;
  return mutex;
}

/// How many times a client of these pairs heard that its server went away. libjack treats every
/// client of the process as gone once one has (the next open deletes them all), and so do the
/// pairs: one opened before the last loss is never touched again.
std::atomic<unsigned> serverLosses{0};

/// System exclusive, MIDI time code, timing clock and active sensing are not passed on.
bool ignored(std::uint8_t status) { return status == 0xF0 || status == 0xF1 || status == 0xF8 || status == 0xFE; }

/// JACK prints its complaints (no server, for one) to standard error: they go to the debug log.
void routeJackMessagesToTheLog() {
  static std::once_flag once;
  std::call_once(once, [] {
    jack_set_error_function([](const char* text) { ZAR_LOG_DEBUG("JACK: {}", text); });
    jack_set_info_function([](const char* text) { ZAR_LOG_DEBUG("JACK: {}", text); });
  });
}
}  // namespace

struct JackMidiPortPair::Token {};

struct JackMidiPortPair::Shared {
  Shared() = default;
  Shared(const Shared&) = delete;
  Shared& operator=(const Shared&) = delete;
  ~Shared() {
    if (received != nullptr) jack_ringbuffer_free(received);
    if (toSend != nullptr) jack_ringbuffer_free(toSend);
  }

  bool gone() const { return serverGone.load() || serverLosses.load() != lossesAtOpen; }

  jack_client_t* client = nullptr;
  jack_port_t* input = nullptr;
  jack_port_t* output = nullptr;
  /// Process thread to delivery thread, and sender to process thread.
  jack_ringbuffer_t* received = jack_ringbuffer_create(kRingBufferBytes);
  jack_ringbuffer_t* toSend = jack_ringbuffer_create(kRingBufferBytes);
  std::counting_semaphore<> arrived{0};
  std::atomic<bool> stopping{false};
  std::atomic<bool> serverGone{false};
  unsigned lossesAtOpen = 0;
};

namespace {
using Shared = JackMidiPortPair::Shared;

/// JACK's process thread, once a period: moves what arrived to the delivery thread and what was
/// sent to the output. It neither blocks nor allocates.
int process(jack_nframes_t frames, void* argument) {
  auto& shared = *static_cast<Shared*>(argument);
  bool arrived = false;
  if (void* input = jack_port_get_buffer(shared.input, frames)) {
    const std::uint32_t count = jack_midi_get_event_count(input);
    for (std::uint32_t i = 0; i < count; ++i) {
      jack_midi_event_t event;
      if (jack_midi_event_get(&event, input, i) != 0 || event.size == 0 || ignored(event.buffer[0])) continue;
      const auto length = static_cast<Length>(event.size);
      // A receiver that is this far behind loses what comes in meanwhile.
      if (jack_ringbuffer_write_space(shared.received) < sizeof length + length) break;
      jack_ringbuffer_write(shared.received, reinterpret_cast<const char*>(&length), sizeof length);
      jack_ringbuffer_write(shared.received, reinterpret_cast<const char*>(event.buffer), length);
      arrived = true;
    }
  }
  if (arrived) shared.arrived.release();
  void* output = jack_port_get_buffer(shared.output, frames);
  if (output == nullptr) return 0;
  jack_midi_clear_buffer(output);
  Length length = 0;
  while (jack_ringbuffer_peek(shared.toSend, reinterpret_cast<char*>(&length), sizeof length) == sizeof length &&
         jack_ringbuffer_read_space(shared.toSend) >= sizeof length + length) {
    jack_midi_data_t* data = jack_midi_event_reserve(output, 0, length);
    // What doesn't fit in this period's buffer goes in the next; a message that doesn't fit in an
    // empty one never will.
    if (data == nullptr && jack_midi_get_event_count(output) > 0) break;
    jack_ringbuffer_read_advance(shared.toSend, sizeof length);
    if (data == nullptr) {
      jack_ringbuffer_read_advance(shared.toSend, length);
    } else {
      jack_ringbuffer_read(shared.toSend, reinterpret_cast<char*>(data), length);
    }
  }
  return 0;
}

/// Called by libjack when the server shut down or dropped the client; like a signal handler, it
/// only marks it.
void serverWentAway(jack_status_t, const char*, void* argument) {
  static_cast<Shared*>(argument)->serverGone.store(true);
  serverLosses.fetch_add(1);
}

/// Hands the received messages to the receiver, one at a time, until the pair closes.
void deliver(const std::shared_ptr<Shared>& shared, const platform::MidiReceiver& receiver) {
  std::vector<std::uint8_t> message;
  while (true) {
    shared->arrived.acquire();
    Length length = 0;
    while (!shared->stopping.load() &&
           jack_ringbuffer_peek(shared->received, reinterpret_cast<char*>(&length), sizeof length) == sizeof length &&
           jack_ringbuffer_read_space(shared->received) >= sizeof length + length) {
      jack_ringbuffer_read_advance(shared->received, sizeof length);
      message.resize(length);
      jack_ringbuffer_read(shared->received, reinterpret_cast<char*>(message.data()), length);
      receiver(message);
    }
    if (shared->stopping.load()) return;
  }
}

/// Closes the client, unless its server went away: then libjack may have deleted it already, and
/// what JACK's threads use stays allocated with it. The caller holds `clientsMutex()`.
void closeClientLocked(const std::shared_ptr<Shared>& shared) {
  // Never destroyed: pairs held by static objects close at exit, after it would be.
  static auto* abandoned = new std::vector<std::shared_ptr<Shared>>;
  if (shared->client == nullptr) return;
  if (shared->gone()) {
    abandoned->push_back(shared);
  } else {
    jack_client_close(shared->client);
  }
  shared->client = nullptr;
}

/// The first port of the given direction, not the client's own, whose name contains `text`.
std::optional<std::string> portContaining(jack_client_t* client, const std::string& text, unsigned long direction) {
  const char** ports = jack_get_ports(client, nullptr, JACK_DEFAULT_MIDI_TYPE, direction);
  if (ports == nullptr) return std::nullopt;
  std::optional<std::string> found;
  for (const char** port = ports; *port != nullptr && !found; ++port) {
    if (std::string_view(*port).find(text) != std::string_view::npos &&
        !jack_port_is_mine(client, jack_port_by_name(client, *port))) {
      found = *port;
    }
  }
  jack_free(static_cast<void*>(ports));
  return found;
}

/// Makes the ports, starts the client and connects what the request names; the reason when
/// something of it failed.
std::optional<std::string> setUp(Shared& shared, const platform::MidiPortRequest& request, std::string& inputName,
                                 std::string& outputName) {
  jack_set_process_callback(shared.client, &process, &shared);
  jack_on_info_shutdown(shared.client, &serverWentAway, &shared);
  shared.input = jack_port_register(shared.client, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
  shared.output = jack_port_register(shared.client, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
  if (shared.input == nullptr || shared.output == nullptr) return "JACK could not make the MIDI ports";
  if (jack_activate(shared.client) != 0) return "JACK could not start the client";
  inputName = jack_port_name(shared.input);
  outputName = jack_port_name(shared.output);
  if (!request.connectInput.empty()) {
    const auto source = portContaining(shared.client, request.connectInput, JackPortIsOutput);
    if (!source) return "no MIDI source named like \"" + request.connectInput + "\"";
    if (jack_connect(shared.client, source->c_str(), inputName.c_str()) != 0) {
      return "JACK could not connect \"" + *source + "\"";
    }
    inputName = *source;
  }
  if (!request.connectOutput.empty()) {
    const auto destination = portContaining(shared.client, request.connectOutput, JackPortIsInput);
    if (!destination) return "no MIDI destination named like \"" + request.connectOutput + "\"";
    if (jack_connect(shared.client, outputName.c_str(), destination->c_str()) != 0) {
      return "JACK could not connect \"" + *destination + "\"";
    }
    outputName = *destination;
  }
  return std::nullopt;
}
}  // namespace

std::shared_ptr<platform::MidiPortPair> JackMidiPortPair::open(const platform::MidiPortRequest& request,
                                                               platform::MidiReceiver receiver, std::string* error) {
  auto fail = [error](std::string reason) -> std::shared_ptr<platform::MidiPortPair> {
    if (error) {
      *error = std::move(reason);
    }
    return nullptr;
  };
  routeJackMessagesToTheLog();
  auto shared = std::make_shared<Shared>();
  if (shared->received == nullptr || shared->toSend == nullptr) {
    return fail("no memory for JACK's ring buffers");
  }
  std::string inputName;
  std::string outputName;
  std::lock_guard lock(clientsMutex());
  shared->lossesAtOpen = serverLosses.load();
  jack_status_t status{};
  shared->client = jack_client_open(request.name.c_str(), JackNoStartServer, &status);
  if (shared->client == nullptr) {
    return fail("no JACK server is running");
  }
  if (const auto failure = setUp(*shared, request, inputName, outputName)) {
    closeClientLocked(shared);
    return fail(*failure);
  }
  try {
    return std::make_shared<JackMidiPortPair>(Token{}, shared, std::move(inputName), std::move(outputName),
                                              std::move(receiver));
  } catch (const std::system_error& failure) {  // no thread for the delivery
    closeClientLocked(shared);
    return fail(failure.what());
  }
}

JackMidiPortPair::JackMidiPortPair(Token, std::shared_ptr<Shared> shared, std::string inputName,
                                   std::string outputName, platform::MidiReceiver receiver)
    : _shared(std::move(shared)),
      _inputName(std::move(inputName)),
      _outputName(std::move(outputName)),
      _delivery([shared = _shared, receiver = std::move(receiver)] { deliver(shared, receiver); }) {}

JackMidiPortPair::~JackMidiPortPair() {
  {
    std::lock_guard lock(clientsMutex());
    closeClientLocked(_shared);
  }
  _shared->stopping.store(true);
  _shared->arrived.release();
  // A receiver that lets go of the pair closes it on the delivery thread, which ends on its own
  // once the receiver returns.
  if (_delivery.get_id() == std::this_thread::get_id()) {
    _delivery.detach();
  } else {
    _delivery.join();
  }
}

bool JackMidiPortPair::working() const { return !_shared->gone(); }

bool JackMidiPortPair::send(std::span<const std::uint8_t> bytes) {
  std::lock_guard lock(_sendMutex);
  if (_shared->gone()) {
    if (!_reportedGone) {
      _reportedGone = true;
      ZAR_LOG_ERROR("MIDI send on \"{}\" failed: the JACK server went away or dropped the client", _outputName);
    }
    return false;
  }
  for (const auto& message : _splitter.split(bytes)) {
    const auto length = static_cast<Length>(message.size());
    if (jack_ringbuffer_write_space(_shared->toSend) < sizeof length + length) {
      ZAR_LOG_ERROR("MIDI send on \"{}\" failed: JACK has not taken what was sent before", _outputName);
      return false;
    }
    jack_ringbuffer_write(_shared->toSend, reinterpret_cast<const char*>(&length), sizeof length);
    jack_ringbuffer_write(_shared->toSend, reinterpret_cast<const char*>(message.data()), length);
  }
  return true;
}

}  // namespace zar::native
