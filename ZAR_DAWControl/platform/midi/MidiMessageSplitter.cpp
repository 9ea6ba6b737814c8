#include "ZAR_DAWControl/platform/midi/MidiMessageSplitter.h"

namespace zar::platform {

namespace {
std::size_t lengthOf(std::uint8_t status) {
  if (status < 0xF0) {
    const auto type = status & 0xF0;
    return (type == 0xC0 || type == 0xD0) ? 2 : 3;
  }
  switch (status) {
    case 0xF1:
    case 0xF3:
      return 2;
    case 0xF2:
      return 3;
    default:
      return 1;
  }
}
}  // namespace

std::vector<std::vector<std::uint8_t>> MidiMessageSplitter::split(std::span<const std::uint8_t> bytes) {
  std::vector<std::vector<std::uint8_t>> messages;
  for (const std::uint8_t byte : bytes) {
    if (byte >= 0xF8) {
      messages.push_back({byte});
      continue;
    }
    if (_inSystemExclusive) {
      if (byte < 0x80 || byte == 0xF7) {
        _current.push_back(byte);
        if (byte == 0xF7) {
          messages.push_back(std::move(_current));
          _current.clear();
          _inSystemExclusive = false;
        }
        continue;
      }
      // Another status byte cuts the exclusive short; it is dropped.
      _current.clear();
      _inSystemExclusive = false;
    }
    if (byte == 0xF7) {
      _current.clear();
      _runningStatus = 0;
      continue;
    }
    if (byte == 0xF0) {
      _inSystemExclusive = true;
      _runningStatus = 0;
      _current = {byte};
      continue;
    }
    if (byte >= 0x80) {
      _runningStatus = byte < 0xF0 ? byte : 0;
      _current = {byte};
    } else if (_current.empty()) {
      if (_runningStatus == 0) {
        continue;
      }
      _current = {_runningStatus, byte};
    } else {
      _current.push_back(byte);
    }
    if (_current.size() == lengthOf(_current.front())) {
      messages.push_back(std::move(_current));
      _current.clear();
    }
  }
  return messages;
}

}  // namespace zar::platform
