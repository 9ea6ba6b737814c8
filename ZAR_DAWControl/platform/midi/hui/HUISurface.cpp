#include "ZAR_DAWControl/platform/midi/hui/HUISurface.h"

#include <algorithm>

#include "ZAR_DAWControl/platform/midi/hui/HUICodec.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUITrafficObserver.h"

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

std::optional<double> earlier(std::optional<double> a, std::optional<double> b) {
  if (!a) return b;
  if (!b) return a;
  return std::min(*a, *b);
}
}  // namespace

HUISurface::HUISurface(Sink sink, double lampDebounceWindow)
    : _sink(std::move(sink)), _window(lampDebounceWindow), _debouncer(lampDebounceWindow) {}

std::vector<HUISurface::Change> HUISurface::receive(std::span<const std::uint8_t> bytes, double now,
                                                    bool answerPings) {
  std::vector<Change> changes;
  std::lock_guard lock(_mutex);
  for (const HUIEvent& event : _decoder.decode(bytes)) {
    switch (event.kind) {
      case HUIEvent::Kind::ping:
        if (!connectedLocked(now)) {
          // A new host, or one that was away: its session, the bank in view and every lamp may differ.
          forgetPositionLocked();
        }
        _lastPing = now;
        ++_pingCount;
        if (answerPings) {
          sendLocked(HUICodec::pingReply());
          if (_view == View::unknown) {
            moveLocked(_navigator.movesToShow(0), now);
            _survey.start(_trackCount);
          }
        }
        break;
      case HUIEvent::Kind::systemReset:
        forgetPositionLocked();
        _strips = {};
        break;
      case HUIEvent::Kind::lamp:
        if (auto* observer = ZAR_HUITrafficObserver::shared()) {
          // A strip's lamp names a track only once the bank in view is known and shown.
          const bool stripOfKnownBank = event.zone <= zone::lastStrip && _view == View::settled && _navigator.offset();
          observer->huiLampReceived(event.zone, event.port, event.on,
                                    stripOfKnownBank ? *_navigator.offset() + event.zone : -1);
        }
        if (const auto lamp = followedLamp(event.port); lamp && event.zone <= zone::lastStrip) {
          lampLocked(event.zone, *lamp, event.on, now, changes);
        }
        break;
      case HUIEvent::Kind::pingReply:
      case HUIEvent::Kind::switchPort:
        break;
    }
  }
  advanceLocked(now, changes);
  return changes;
}

std::vector<HUISurface::Change> HUISurface::tick(double now) {
  std::vector<Change> changes;
  std::lock_guard lock(_mutex);
  advanceLocked(now, changes);
  return changes;
}

std::optional<double> HUISurface::nextDeadline() const {
  std::lock_guard lock(_mutex);
  auto deadline = _debouncer.nextDeadline();
  if (_view == View::settling) {
    deadline = earlier(deadline, _movedAt + kBankSettleTime);
  }
  return earlier(deadline, _survey.dwellUntil());
}

bool HUISurface::pressStripPort(int track, std::uint8_t port, double now) {
  if (track < 0 || track >= kTrackCount) {
    return false;
  }
  std::lock_guard lock(_mutex);
  if (!connectedLocked(now)) {
    // Nobody may have seen our earlier moves: learn the position again.
    _navigator.forget();
    _view = View::unknown;
  }
  const auto moves = _navigator.movesToShow(track);
  std::vector<std::uint8_t> press;
  appendPressLocked(press, static_cast<std::uint8_t>(track - *_navigator.offset()), port);
  const auto arrives = moveLocked(moves, now, press);
  if (const auto lamp = followedLamp(port); lamp && arrives) {
    const auto on = _debouncer.toggled(track, *lamp, *arrives);
    auto* observer = ZAR_HUITrafficObserver::shared();
    if (on && observer) observer->huiLampToggled(track, *lamp == HUILamp::recordReady, *on);
  }
  return true;
}

bool HUISurface::sendForeign(std::span<const std::uint8_t> message) {
  std::lock_guard lock(_mutex);
  if (message.size() == 3 && message[0] == kControlChange && message[1] == kSwitchZoneController) {
    _foreignZone = message[2];
  }
  return sendLocked(message).has_value();
}

std::vector<HUISurface::Change> HUISurface::setTrackCount(int count, double now) {
  count = std::clamp(count, 0, kTrackCount);
  std::vector<Change> changes;
  std::lock_guard lock(_mutex);
  if (_trackCount == count) {
    return changes;
  }
  const bool tracksCameOrWent = _trackCount.has_value();
  _trackCount = count;
  if (!tracksCameOrWent) {
    _survey.extend(count);
  } else {
    forgetPositionLocked();
    if (connectedLocked(now)) {
      moveLocked(_navigator.movesToShow(0), now);
      _survey.start(_trackCount);
    }
  }
  advanceLocked(now, changes);
  return changes;
}

std::vector<HUISurface::Change> HUISurface::knownLamps() const {
  std::lock_guard lock(_mutex);
  auto known = _debouncer.known();
  std::erase_if(known, [this](const Change& change) { return !inSessionLocked(change.track); });
  return known;
}

bool HUISurface::connected(double now) const {
  std::lock_guard lock(_mutex);
  return connectedLocked(now);
}

bool HUISurface::lampsKnown(double now) const {
  std::lock_guard lock(_mutex);
  return connectedLocked(now) && _view == View::settled && !_survey.active();
}

std::uint64_t HUISurface::pingCount() const {
  std::lock_guard lock(_mutex);
  return _pingCount;
}

std::optional<int> HUISurface::bankOffset() const {
  std::lock_guard lock(_mutex);
  return _navigator.offset();
}

bool HUISurface::connectedLocked(double now) const { return _lastPing && now - *_lastPing < kConnectionTimeout; }

std::optional<double> HUISurface::sendLocked(std::span<const std::uint8_t> bytes) {
  return _sink ? _sink(bytes) : std::nullopt;
}

void HUISurface::appendPressLocked(std::vector<std::uint8_t>& bytes, std::uint8_t zone, std::uint8_t port) const {
  for (const HUIMessage& message : HUICodec::buttonPress(zone, port)) {
    bytes.insert(bytes.end(), message.begin(), message.end());
  }
  if (_foreignZone) {
    const auto select = HUICodec::selectSwitchZone(*_foreignZone);
    bytes.insert(bytes.end(), select.begin(), select.end());
  }
}

std::optional<double> HUISurface::moveLocked(const std::vector<std::uint8_t>& moves, double now,
                                             std::span<const std::uint8_t> then) {
  std::vector<std::uint8_t> bytes;
  for (const std::uint8_t move : moves) {
    appendPressLocked(bytes, zone::channelSelection, move);
  }
  bytes.insert(bytes.end(), then.begin(), then.end());
  if (bytes.empty()) {
    return now;
  }
  const auto arrives = sendLocked(bytes);
  if (!arrives) {
    // The host never saw these moves, which the navigator has counted.
    _navigator.forget();
    _view = View::unknown;
    return std::nullopt;
  }
  if (!moves.empty()) {
    _view = View::settling;
    _movedAt = std::max(now, *arrives);
    _survey.movedAway();
    const int first = *_navigator.offset();
    _debouncer.keepPendingOnlyFor(first, first + kStripsPerBank - 1, now);
  }
  return std::max(now, *arrives);
}

void HUISurface::forgetPositionLocked() {
  _navigator.forget();
  _view = View::unknown;
  _debouncer.reset();
  _survey.stop();
}

void HUISurface::lampLocked(int strip, HUILamp lamp, bool on, double now, std::vector<Change>& changes) {
  const auto s = static_cast<std::size_t>(strip);
  const auto l = static_cast<std::size_t>(lamp);
  _strips[s][l] = on;
  if (_view == View::settled) {
    const int track = *_navigator.offset() + strip;
    if (inSessionLocked(track)) {
      _debouncer.report(track, lamp, on, now, changes);
    }
  }
}

void HUISurface::advanceLocked(double now, std::vector<Change>& changes) {
  if (_view == View::settling && now + kTimeTolerance >= _movedAt + kBankSettleTime) {
    settleLocked(now, changes);
  }
  _debouncer.sweep(now, changes);
  if (!connectedLocked(now)) {
    _survey.stop();
  }
  while (_view == View::settled && _survey.active()) {
    if (_survey.finishDwell(now)) {
      continue;
    }
    if (_survey.dwellUntil()) {
      break;
    }
    const auto target = _survey.target();
    if (!target) {
      _survey.stop();
      break;
    }
    const auto moves = _navigator.movesToShow(*target);
    if (!moves.empty()) {
      moveLocked(moves, now);
      break;
    }
    _survey.inView(now, _window);
  }
}

void HUISurface::settleLocked(double now, std::vector<Change>& changes) {
  _view = View::settled;
  const int offset = *_navigator.offset();
  for (int strip = 0; strip < kStripsPerBank; ++strip) {
    for (const HUILamp lamp : {HUILamp::mute, HUILamp::recordReady}) {
      const auto& shown = _strips[static_cast<std::size_t>(strip)][static_cast<std::size_t>(lamp)];
      if (shown && inSessionLocked(offset + strip)) {
        _debouncer.report(offset + strip, lamp, *shown, now, changes);
      }
    }
  }
}

bool HUISurface::inSessionLocked(int track) const { return !_trackCount || track < *_trackCount; }

}  // namespace zar::hui
