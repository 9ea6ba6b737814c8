#include "ZAR_DAWControl/platform/midi/hui/HUISurface.h"

#include "ZAR_DAWControl/platform/midi/hui/HUICodec.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace zar::hui {

namespace {
std::optional<HUILamp> followedLamp(std::uint8_t port) {
  if (port == stripPort::mute) {
    return HUILamp::mute;
  }
  if (port == stripPort::recordReady) {
    return HUILamp::recordReady;
  }
  return std::nullopt;
}
}  // namespace

HUISurface::HUISurface(Sink sink, double lampDebounceWindow) : _sink(std::move(sink)), _debouncer(lampDebounceWindow) {}

std::vector<HUILampDebouncer::Change> HUISurface::receive(std::span<const std::uint8_t> bytes, double now,
                                                           bool answerPings) {
  std::vector<HUILampDebouncer::Change> changes;
  std::lock_guard lock(_mutex);
  for (const HUIEvent& event : _decoder.decode(bytes)) {
    switch (event.kind) {
      case HUIEvent::Kind::ping:
        if (!connectedLocked(now)) {
          // The host was away: its session, and so the bank in view and every lamp, may differ.
          _navigator.forget();
          _debouncer.reset();
        }
        _lastPing = now;
        ++_pingCount;
        if (answerPings) {
          sendLocked(HUICodec::pingReply());
        }
        break;
      case HUIEvent::Kind::systemReset:
        _navigator.forget();
        _debouncer.reset();
        break;
      case HUIEvent::Kind::lamp: {
        const auto lamp = followedLamp(event.port);
        const auto track = _navigator.trackForStrip(event.zone);
        if (lamp && track) {
          _debouncer.report(*track, *lamp, event.on, now, changes);
        }
        break;
      }
      case HUIEvent::Kind::pingReply:
      case HUIEvent::Kind::switchPort:
        break;
    }
  }
  _debouncer.sweep(now, changes);
  return changes;
}

bool HUISurface::pressStripPort(int track, std::uint8_t port, double now) {
  if (track < 0 || track >= HUIBankNavigator::kTrackCount) {
    return false;
  }
  std::lock_guard lock(_mutex);
  if (!connectedLocked(now)) {
    _navigator.forget();
  }
  const auto moves = _navigator.movesToShow(track);
  for (const std::uint8_t move : moves) {
    for (const HUIMessage& message : HUICodec::buttonPress(zone::channelSelection, move)) {
      sendLocked(message);
    }
  }
  if (!moves.empty()) {
    const int first = *_navigator.offset();
    _debouncer.keepPendingOnlyFor(first, first + kStripsPerBank - 1);
  }
  const auto strip = static_cast<std::uint8_t>(track - *_navigator.offset());
  for (const HUIMessage& message : HUICodec::buttonPress(strip, port)) {
    sendLocked(message);
  }
  if (_foreignZone) {
    sendLocked(HUICodec::selectSwitchZone(*_foreignZone));
  }
  return true;
}

void HUISurface::sendForeign(std::span<const std::uint8_t> message) {
  std::lock_guard lock(_mutex);
  if (message.size() == 3 && message[0] == kControlChange && message[1] == kSwitchZoneController) {
    _foreignZone = message[2];
  }
  sendLocked(message);
}

bool HUISurface::connected(double now) const {
  std::lock_guard lock(_mutex);
  return connectedLocked(now);
}

std::uint64_t HUISurface::pingCount() const {
  std::lock_guard lock(_mutex);
  return _pingCount;
}

std::optional<double> HUISurface::lastPingTime() const {
  std::lock_guard lock(_mutex);
  return _lastPing;
}

std::optional<int> HUISurface::bankOffset() const {
  std::lock_guard lock(_mutex);
  return _navigator.offset();
}

bool HUISurface::connectedLocked(double now) const { return _lastPing && now - *_lastPing < kConnectionTimeout; }

void HUISurface::sendLocked(std::span<const std::uint8_t> bytes) {
  if (_sink) {
    _sink(bytes);
  }
}

}  // namespace zar::hui
