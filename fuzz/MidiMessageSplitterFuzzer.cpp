// Any bytes through the MIDI message splitter: every message it gives must be whole and
// well-formed, the messages must not depend on how the bytes were cut into calls, and splitting
// the messages it gave once more must give them back unchanged. The first byte picks the cuts.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "ZAR_DAWControl/platform/midi/MidiMessageSplitter.h"

namespace {

using Message = std::vector<std::uint8_t>;

std::size_t lengthOf(std::uint8_t status) {
  if (status < 0xF0) return (status & 0xF0) == 0xC0 || (status & 0xF0) == 0xD0 ? 2 : 3;
  if (status == 0xF1 || status == 0xF3) return 2;
  return status == 0xF2 ? 3 : 1;
}

bool wellFormed(const Message& message) {
  if (message.empty() || message.front() < 0x80) return false;
  const std::uint8_t status = message.front();
  for (std::size_t i = 1; i + 1 < message.size(); ++i) {
    if (message[i] >= 0x80) return false;
  }
  if (status == 0xF0) return message.size() >= 2 && message.back() == 0xF7;
  if (status == 0xF7 || message.size() != lengthOf(status)) return false;
  return message.size() == 1 || message.back() < 0x80;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::span<const std::uint8_t> stream(data + 1, size - 1);

  zar::platform::MidiMessageSplitter whole;
  const std::vector<Message> messages = whole.split(stream);
  for (const Message& message : messages) {
    if (!wellFormed(message)) std::abort();
  }

  zar::platform::MidiMessageSplitter cut;
  std::vector<Message> pieces;
  const std::size_t step = data[0] % 7 + 1;
  for (std::size_t at = 0; at < stream.size(); at += step) {
    for (auto& message : cut.split(stream.subspan(at, std::min(step, stream.size() - at)))) {
      pieces.push_back(std::move(message));
    }
  }
  if (pieces != messages) std::abort();

  std::vector<std::uint8_t> joined;
  for (const Message& message : messages) joined.insert(joined.end(), message.begin(), message.end());
  zar::platform::MidiMessageSplitter again;
  if (again.split(joined) != messages) std::abort();
  return 0;
}
