#include "ZAR_DAWControl/platform/midi/hui/HUICodec.h"

namespace zar::hui {

namespace {
std::uint8_t portValue(std::uint8_t port, bool on) {
  const auto number = static_cast<std::uint8_t>(port & kPortNumberMask);
  return on ? static_cast<std::uint8_t>(kPortOn | number) : number;
}
}  // namespace

HUIMessage HUICodec::ping() { return {kNoteOn, 0x00, kPingVelocity}; }

HUIMessage HUICodec::pingReply() { return {kNoteOn, 0x00, kPingReplyVelocity}; }

HUIMessage HUICodec::selectSwitchZone(std::uint8_t zone) {
  return {kControlChange, kSwitchZoneController, static_cast<std::uint8_t>(zone & 0x7F)};
}

HUIMessage HUICodec::switchPort(std::uint8_t port, bool pressed) {
  return {kControlChange, kSwitchPortController, portValue(port, pressed)};
}

HUIMessage HUICodec::selectLampZone(std::uint8_t zone) {
  return {kControlChange, kLampZoneController, static_cast<std::uint8_t>(zone & 0x7F)};
}

HUIMessage HUICodec::lampPort(std::uint8_t port, bool on) {
  return {kControlChange, kLampPortController, portValue(port, on)};
}

std::array<HUIMessage, 4> HUICodec::buttonPress(std::uint8_t zone, std::uint8_t port) {
  return {selectSwitchZone(zone), switchPort(port, true), selectSwitchZone(zone), switchPort(port, false)};
}

}  // namespace zar::hui
