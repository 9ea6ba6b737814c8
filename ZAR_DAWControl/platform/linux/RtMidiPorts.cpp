#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"

#include <RtMidi.h>

#include <mutex>
#include <optional>

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/linux/JackMidiPortPair.h"
#include "ZAR_DAWControl/platform/midi/MidiMessageSplitter.h"

namespace zar::native {

namespace {
constexpr unsigned int kInputQueueSize = 1024;

std::optional<RtMidi::Api> apiNamed(const std::string& name) {
  if (name.empty() || name == "alsa") {
    return RtMidi::LINUX_ALSA;
  }
  if (name == "jack") {
    return RtMidi::UNIX_JACK;
  }
  return std::nullopt;
}

bool isWarning(RtMidiError::Type type) { return type == RtMidiError::WARNING || type == RtMidiError::DEBUG_WARNING; }

/// RtMidi reports through this instead of printing; while opening, `userData` collects the
/// first failure, so that a port that did not open is noticed.
void reportError(RtMidiError::Type type, const std::string& text, void* userData) {
  if (isWarning(type)) {
    ZAR_LOG_DEBUG("RtMidi: {}", text);
    return;
  }
  auto* failure = static_cast<std::string*>(userData);
  if (failure != nullptr) {
    if (failure->empty()) {
      *failure = text;
    }
    return;
  }
  ZAR_LOG_ERROR("RtMidi: {}", text);
}

/// While a message is sent, whatever RtMidi reports (it calls back instead of throwing once a
/// callback is set, and reports a refused send as a mere warning) is collected in `userData`.
void collectSendFailure(RtMidiError::Type /*type*/, const std::string& text, void* userData) {
  auto* failure = static_cast<std::string*>(userData);
  if (failure->empty()) {
    *failure = text;
  }
}

/// The index of the first port whose name contains `text`.
std::optional<unsigned int> portContaining(RtMidi& midi, const std::string& text) {
  const unsigned int count = midi.getPortCount();
  for (unsigned int i = 0; i < count; ++i) {
    if (midi.getPortName(i).find(text) != std::string::npos) {
      return i;
    }
  }
  return std::nullopt;
}

class RtMidiPortPair final : public platform::MidiPortPair {
 public:
  /// Opens the ports; `failure()` says why when they did not open. The receive callback is in
  /// place before the input opens, so the MIDI thread never sees it being set.
  RtMidiPortPair(RtMidi::Api api, const platform::MidiPortRequest& request, platform::MidiReceiver receiver)
      : _receiver(std::move(receiver)), _inputName(request.name), _outputName(request.name) {
    _input = std::make_unique<RtMidiIn>(api, request.name, kInputQueueSize);
    _output = std::make_unique<RtMidiOut>(api, request.name);
    _input->setErrorCallback(&reportError, &_failure);
    _output->setErrorCallback(&reportError, &_failure);
    _input->ignoreTypes(true, true, true);
    _input->setCallback(&RtMidiPortPair::received, this);
    if (request.connectInput.empty()) {
      _input->openVirtualPort(request.name);
    } else if (const auto index = portContaining(*_input, request.connectInput)) {
      _inputName = _input->getPortName(*index);
      _input->openPort(*index, request.name);
    } else if (_failure.empty()) {
      _failure = "no MIDI source named like \"" + request.connectInput + "\"";
    }
    if (request.connectOutput.empty()) {
      _output->openVirtualPort(request.name);
    } else if (const auto index = portContaining(*_output, request.connectOutput)) {
      _outputName = _output->getPortName(*index);
      _output->openPort(*index, request.name);
    } else if (_failure.empty()) {
      _failure = "no MIDI destination named like \"" + request.connectOutput + "\"";
    }
    _input->setErrorCallback(&reportError, nullptr);
    _output->setErrorCallback(&reportError, nullptr);
  }

  ~RtMidiPortPair() override {
    _input->cancelCallback();
    _input->closePort();
    _output->closePort();
  }

  const std::string& failure() const { return _failure; }

  /// False when RtMidi reported anything while sending: the message did not go out. The reason is
  /// logged once per run of failures (the caller counts them).
  bool send(std::span<const std::uint8_t> bytes) override {
    std::lock_guard lock(_sendMutex);
    std::string failure;
    _output->setErrorCallback(&collectSendFailure, &failure);
    try {
      for (const auto& message : _splitter.split(bytes)) {
        _output->sendMessage(message.data(), message.size());
        if (!failure.empty()) break;
      }
    } catch (const RtMidiError& error) {
      failure = error.getMessage();
    }
    _output->setErrorCallback(&reportError, nullptr);
    if (failure.empty()) {
      _sendFailing = false;
      return true;
    }
    if (!_sendFailing) {
      ZAR_LOG_WARN("MIDI send on \"{}\" failed: {}", _outputName, failure);
      _sendFailing = true;
    }
    return false;
  }

  std::string inputName() const override { return _inputName; }
  std::string outputName() const override { return _outputName; }

 private:
  static void received(double /*deltaTime*/, std::vector<unsigned char>* message, void* userData) {
    if (message != nullptr && !message->empty()) {
      static_cast<RtMidiPortPair*>(userData)->_receiver(*message);
    }
  }

  platform::MidiReceiver _receiver;
  std::string _inputName;
  std::string _outputName;
  std::string _failure;
  std::unique_ptr<RtMidiIn> _input;
  std::unique_ptr<RtMidiOut> _output;
  std::mutex _sendMutex;
  platform::MidiMessageSplitter _splitter;
  bool _sendFailing = false;  // guarded by _sendMutex
};
}  // namespace

std::shared_ptr<platform::MidiPortPair> RtMidiPorts::open(const platform::MidiPortRequest& request,
                                                          platform::MidiReceiver receiver, std::string* error) {
  auto fail = [error](std::string reason) -> std::shared_ptr<platform::MidiPortPair> {
    if (error) {
      *error = std::move(reason);
    }
    return nullptr;
  };
  const auto api = apiNamed(request.api);
  if (!api) {
    return fail("RtMidi serves the APIs \"alsa\" and \"jack\", not \"" + request.api + "\"");
  }
  if (!receiver) {
    return fail("no receiver given");
  }
  if (*api == RtMidi::UNIX_JACK) {
    // RtMidi's JACK ports free what JACK's process thread uses before stopping it, and crash or
    // hang when the server goes away: JACK's ports are made with libjack directly.
    return JackMidiPortPair::open(request, std::move(receiver), error);
  }
  try {
    auto pair = std::make_shared<RtMidiPortPair>(*api, request, std::move(receiver));
    if (!pair->failure().empty()) {
      return fail(pair->failure());
    }
    return pair;
  } catch (const RtMidiError& failure) {
    return fail(failure.getMessage());
  }
}

}  // namespace zar::native
