#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"

#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace zar::hui {

namespace {
constexpr std::uint8_t kRealTimeFirst = 0xF8;

int dataBytesFor(std::uint8_t status) {
  const auto type = static_cast<std::uint8_t>(status & 0xF0);
  return (type == 0xC0 || type == 0xD0) ? 1 : 2;
}
}  // namespace

std::vector<HUIEvent> HUIDecoder::decode(std::span<const std::uint8_t> bytes) {
  std::vector<HUIEvent> events;
  for (const std::uint8_t byte : bytes) {
    handleByte(byte, events);
  }
  return events;
}

void HUIDecoder::reset() {
  _runningStatus = 0;
  _dataCount = 0;
  _inSystemExclusive = false;
  _lampZone.reset();
  _switchZone.reset();
}

void HUIDecoder::handleByte(std::uint8_t byte, std::vector<HUIEvent>& events) {
  if (byte >= kRealTimeFirst) {
    // Real-time bytes may come between any two bytes and leave running status alone.
    if (byte == kSystemReset) {
      reset();
      events.push_back(HUIEvent{HUIEvent::Kind::systemReset});
    }
    return;
  }
  if (byte == kSystemExclusive) {
    _inSystemExclusive = true;
    _runningStatus = 0;
    _dataCount = 0;
    return;
  }
  if (byte >= 0xF1) {
    // End of exclusive or a system common message: both cancel running status.
    _inSystemExclusive = false;
    _runningStatus = 0;
    _dataCount = 0;
    return;
  }
  if (byte >= 0x80) {
    _inSystemExclusive = false;
    _runningStatus = byte;
    _dataCount = 0;
    return;
  }
  if (_inSystemExclusive || _runningStatus == 0) {
    return;
  }
  _data[_dataCount++] = byte;
  if (_dataCount == dataBytesFor(_runningStatus)) {
    handleMessage(events);
    _dataCount = 0;
  }
}

void HUIDecoder::handleMessage(std::vector<HUIEvent>& events) {
  if ((_runningStatus & 0x0F) != 0) {
    return;  // HUI speaks on channel 1 only
  }
  const auto type = static_cast<std::uint8_t>(_runningStatus & 0xF0);
  const std::uint8_t first = _data[0];
  const std::uint8_t second = _data[1];
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
