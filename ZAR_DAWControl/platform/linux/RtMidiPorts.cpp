#include "ZAR_DAWControl/platform/linux/RtMidiPorts.h"

#include <RtMidi.h>

#include <mutex>
#include <optional>

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/MidiMessageSplitter.h"

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
  RtMidiPortPair(std::unique_ptr<RtMidiIn> input, std::unique_ptr<RtMidiOut> output, platform::MidiReceiver receiver,
                 std::string inputName, std::string outputName)
      : _input(std::move(input)), _output(std::move(output)), _receiver(std::move(receiver)),
        _inputName(std::move(inputName)), _outputName(std::move(outputName)) {
    _input->ignoreTypes(true, true, true);
    _input->setCallback(&RtMidiPortPair::received, this);
  }

  ~RtMidiPortPair() override {
    _input->cancelCallback();
    _input->closePort();
    _output->closePort();
  }

  bool send(std::span<const std::uint8_t> bytes) override {
    std::lock_guard lock(_sendMutex);
    try {
      for (const auto& message : _splitter.split(bytes)) {
        _output->sendMessage(message.data(), message.size());
      }
      return true;
    } catch (const RtMidiError& error) {
      ZAR_LOG_ERROR("MIDI send on \"{}\" failed: {}", _outputName, error.getMessage());
      return false;
    }
  }

  std::string inputName() const override { return _inputName; }
  std::string outputName() const override { return _outputName; }

 private:
  static void received(double /*deltaTime*/, std::vector<unsigned char>* message, void* userData) {
    if (message != nullptr && !message->empty()) {
      static_cast<RtMidiPortPair*>(userData)->_receiver(*message);
    }
  }

  std::unique_ptr<RtMidiIn> _input;
  std::unique_ptr<RtMidiOut> _output;
  platform::MidiReceiver _receiver;
  std::string _inputName;
  std::string _outputName;
  std::mutex _sendMutex;
  platform::MidiMessageSplitter _splitter;
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
  try {
    auto input = std::make_unique<RtMidiIn>(*api, request.name, kInputQueueSize);
    auto output = std::make_unique<RtMidiOut>(*api, request.name);
    std::string failure;
    input->setErrorCallback(&reportError, &failure);
    output->setErrorCallback(&reportError, &failure);
    std::string inputName = request.name;
    std::string outputName = request.name;
    if (request.connectInput.empty()) {
      input->openVirtualPort(request.name);
    } else {
      const auto index = portContaining(*input, request.connectInput);
      if (!index) {
        return fail("no MIDI source named like \"" + request.connectInput + "\"");
      }
      inputName = input->getPortName(*index);
      input->openPort(*index, request.name);
    }
    if (request.connectOutput.empty()) {
      output->openVirtualPort(request.name);
    } else {
      const auto index = portContaining(*output, request.connectOutput);
      if (!index) {
        return fail("no MIDI destination named like \"" + request.connectOutput + "\"");
      }
      outputName = output->getPortName(*index);
      output->openPort(*index, request.name);
    }
    if (!failure.empty()) {
      return fail(failure);
    }
    input->setErrorCallback(&reportError, nullptr);
    output->setErrorCallback(&reportError, nullptr);
    return std::make_shared<RtMidiPortPair>(std::move(input), std::move(output), std::move(receiver),
                                            std::move(inputName), std::move(outputName));
  } catch (const RtMidiError& failure) {
    return fail(failure.getMessage());
  }
}

}  // namespace zar::native
