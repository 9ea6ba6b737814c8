#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"

#include <algorithm>

#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace zar::hui {

std::vector<HUIEvent> HUIDecoder::decode(std::span<const std::uint8_t> bytes) {
  std::vector<HUIEvent> events;
  // A system reset forgets running status and a message under way, which the splitter keeps across
  // real-time bytes: the stream is split at each reset.
  while (!bytes.empty()) {
    const auto before = static_cast<std::size_t>(std::find(bytes.begin(), bytes.end(), kSystemReset) - bytes.begin());
    for (const auto& message : _splitter.split(bytes.first(before))) handleMessage(message, events);
    if (before == bytes.size()) break;
    reset();
    events.push_back(HUIEvent{HUIEvent::Kind::systemReset});
    bytes = bytes.subspan(before + 1);
  }
  return events;
}

void HUIDecoder::reset() {
  _splitter = platform::MidiMessageSplitter();
  _lampZone.reset();
  _switchZone.reset();
}

void HUIDecoder::handleMessage(std::span<const std::uint8_t> message, std::vector<HUIEvent>& events) {
  if (message.size() != 3 || (message[0] & 0x0F) != 0) {
    return;  // HUI speaks in three-byte messages on channel 1 only
  }
  const auto type = static_cast<std::uint8_t>(message[0] & 0xF0);
  const std::uint8_t first = message[1];
  const std::uint8_t second = message[2];
  if (type == kNoteOn && first == 0) {
    if (second == kPingVelocity) {
      events.push_back(HUIEvent{HUIEvent::Kind::ping});
    } else if (second == kPingReplyVelocity) {
      events.push_back(HUIEvent{HUIEvent::Kind::pingReply});
    }
    return;
  }
  if (type == kNoteOff && first == 0) {
    // Many MIDI stacks rewrite a Note On of velocity 0 as a Note Off.
    events.push_back(HUIEvent{HUIEvent::Kind::ping});
    return;
  }
  if (type != kControlChange) {
    return;
  }
  std::optional<HUIEvent> event;
  switch (first) {
    case kLampZoneController:
      _lampZone = second;
      break;
    case kSwitchZoneController:
      _switchZone = second;
      break;
    case kLampPortController:
      event = portEvent(HUIEvent::Kind::lamp, _lampZone, second);
      break;
    case kSwitchPortController:
      event = portEvent(HUIEvent::Kind::switchPort, _switchZone, second);
      break;
    default:
      break;
  }
  if (event) {
    events.push_back(*event);
  }
}

std::optional<HUIEvent> HUIDecoder::portEvent(HUIEvent::Kind kind, std::optional<std::uint8_t> zone,
                                              std::uint8_t value) {
  const auto state = static_cast<std::uint8_t>(value & kPortStateMask);
  const auto port = static_cast<std::uint8_t>(value & kPortNumberMask);
  if (!zone || port >= kPortsPerZone || (state != kPortOn && state != 0)) {
    return std::nullopt;
  }
  return HUIEvent{kind, *zone, port, state == kPortOn};
}

}  // namespace zar::hui
