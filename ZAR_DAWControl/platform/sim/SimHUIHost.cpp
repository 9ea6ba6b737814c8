#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"

#include <algorithm>

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/midi/hui/HUICodec.h"

namespace zar::sim {

using hui::HUICodec;
using hui::HUIEvent;

struct SimHUIHost::Token {};

platform::MidiPortRequest SimHUIHost::defaultPortRequest(const std::string& surfacePortName, const std::string& api) {
  return platform::MidiPortRequest{api, "Pro Tools", surfacePortName, surfacePortName};
}

std::shared_ptr<SimHUIHost> SimHUIHost::create(std::shared_ptr<platform::MidiPorts> ports,
                                               platform::MidiPortRequest request, std::vector<std::string> trackNames,
                                               Options options) {
  auto host = std::make_shared<SimHUIHost>(Token{}, std::move(ports), std::move(request), std::move(trackNames), options);
  host->start();
  return host;
}

SimHUIHost::SimHUIHost(Token, std::shared_ptr<platform::MidiPorts> ports, platform::MidiPortRequest request,
                       std::vector<std::string> trackNames, Options options)
    : _ports(std::move(ports)), _request(std::move(request)), _options(options) {
  for (auto& name : trackNames) {
    _tracks.push_back(Track{std::move(name)});
  }
}

SimHUIHost::~SimHUIHost() {
  std::shared_ptr<platform::MidiPortPair> pair;
  {
    std::lock_guard lock(_mutex);
    pair = std::move(_pair);
  }
  if (_pingTimer) {
    _pingTimer->invalidate();
  }
  if (_flashTimer) {
    _flashTimer->invalidate();
  }
  // `pair` closes here, outside the lock a receive in progress may be waiting for.
}

void SimHUIHost::start() {
  {
    std::lock_guard lock(_mutex);
    openPortsLocked();
  }
  const auto runLoop = platform::Platform::current()->mainRunLoop;
  if (!runLoop) {
    ZAR_LOG_ERROR("The simulated Pro Tools' HUI needs a main run loop; it will neither ping nor flash");
    return;
  }
  std::weak_ptr<SimHUIHost> weak = weak_from_this();
  _pingTimer = runLoop->scheduleRepeatingTimer(_options.pingInterval, [weak] {
    if (const auto host = weak.lock(); host && host->pinging()) {
      host->sendPing();
    }
  });
  _flashTimer = runLoop->scheduleRepeatingTimer(_options.flashInterval, [weak] {
    if (const auto host = weak.lock()) {
      host->flash();
    }
  });
}

bool SimHUIHost::openPortsLocked() {
  if (_pair) {
    return true;
  }
  if (!_ports) {
    return false;
  }
  _pair = _ports->open(_request, [this](std::span<const std::uint8_t> bytes) { receive(bytes); });
  if (_pair) {
    // A session shows its lamps as soon as the surface is there.
    refreshLampsLocked(true);
  }
  return _pair != nullptr;
}

bool SimHUIHost::portsOpen() const {
  std::lock_guard lock(_mutex);
  return _pair != nullptr;
}

void SimHUIHost::setPinging(bool pinging) {
  std::lock_guard lock(_mutex);
  _pinging = pinging;
}

bool SimHUIHost::pinging() const {
  std::lock_guard lock(_mutex);
  return _pinging;
}

void SimHUIHost::sendPing() {
  std::lock_guard lock(_mutex);
  if (openPortsLocked()) {
    sendLocked(HUICodec::ping());
  }
}

std::uint64_t SimHUIHost::pingRepliesReceived() const {
  std::lock_guard lock(_mutex);
  return _pingReplies;
}

std::vector<SimHUIHost::Track> SimHUIHost::tracks() const {
  std::lock_guard lock(_mutex);
  return _tracks;
}

std::optional<SimHUIHost::Track> SimHUIHost::track(std::size_t index) const {
  std::lock_guard lock(_mutex);
  if (index >= _tracks.size()) {
    return std::nullopt;
  }
  return _tracks[index];
}

void SimHUIHost::setTrackRecEnabled(std::size_t index, bool value) {
  changeTrack(index, [value](Track& track) { track.recEnabled = value; });
}

void SimHUIHost::setTrackMuted(std::size_t index, bool value) {
  changeTrack(index, [value](Track& track) { track.muted = value; });
}

void SimHUIHost::setTrackSoloed(std::size_t index, bool value) {
  changeTrack(index, [value](Track& track) { track.soloed = value; });
}

void SimHUIHost::setTracks(std::vector<Track> tracks) {
  std::lock_guard lock(_mutex);
  _tracks = std::move(tracks);
  _bankOffset = std::min(_bankOffset, std::max(0, static_cast<int>(_tracks.size()) - 1));
  refreshLampsLocked(true);
}

void SimHUIHost::changeTrack(std::size_t index, const std::function<void(Track&)>& change) {
  {
    std::lock_guard lock(_mutex);
    if (index >= _tracks.size()) {
      return;
    }
    const Track before = _tracks[index];
    change(_tracks[index]);
    if (_tracks[index] == before) {
      return;
    }
    refreshLampsLocked(false);
  }
  notify({index});
}

void SimHUIHost::setTrackChangeCallback(std::function<void(std::size_t)> callback) {
  std::unique_lock lock(_mutex);
  _trackChanged = std::move(callback);
  const auto self = std::this_thread::get_id();
  _notified.wait(lock, [&] { return std::all_of(_notifying.begin(), _notifying.end(), [&](auto id) { return id == self; }); });
}

SimHUIHost::TransportState SimHUIHost::transportState() const {
  std::lock_guard lock(_mutex);
  return _transport;
}

bool SimHUIHost::recordArmed() const {
  std::lock_guard lock(_mutex);
  return _recordArmed;
}

int SimHUIHost::bankOffset() const {
  std::lock_guard lock(_mutex);
  return _bankOffset;
}

std::vector<std::vector<std::uint8_t>> SimHUIHost::receivedMessages() const {
  std::lock_guard lock(_mutex);
  return _received;
}

void SimHUIHost::clearReceivedMessages() {
  std::lock_guard lock(_mutex);
  _received.clear();
}

void SimHUIHost::receive(std::span<const std::uint8_t> bytes) {
  std::vector<std::size_t> changed;
  std::function<void(std::span<const std::uint8_t>)> hook;
  {
    std::lock_guard lock(_mutex);
    hook = _receiveHook;
    for (auto& message : _splitter.split(bytes)) {
      _received.push_back(std::move(message));
    }
    for (const HUIEvent& event : _decoder.decode(bytes)) {
      if (event.kind == HUIEvent::Kind::pingReply) {
        ++_pingReplies;
      } else if (event.kind == HUIEvent::Kind::switchPort && event.on) {
        // Pro Tools acts on the press; the release only ends it.
        press(event.zone, event.port, changed);
      }
    }
    refreshLampsLocked(false);
  }
  notify(changed);
  if (hook) {
    hook(bytes);
  }
}

void SimHUIHost::setReceiveHook(std::function<void(std::span<const std::uint8_t>)> hook) {
  std::lock_guard lock(_mutex);
  _receiveHook = std::move(hook);
}

void SimHUIHost::press(std::uint8_t zone, std::uint8_t port, std::vector<std::size_t>& changed) {
  if (zone <= hui::zone::lastStrip) {
    const auto index = static_cast<std::size_t>(_bankOffset + zone);
    if (index >= _tracks.size()) {
      return;  // an empty strip
    }
    Track& track = _tracks[index];
    if (port == hui::stripPort::mute) {
      track.muted = !track.muted;
    } else if (port == hui::stripPort::recordReady) {
      track.recEnabled = !track.recEnabled;
    } else if (port == hui::stripPort::solo) {
      track.soloed = !track.soloed;
    } else {
      return;
    }
    changed.push_back(index);
    return;
  }
  if (zone == hui::zone::channelSelection) {
    moveBank(port);
    return;
  }
  if (zone != hui::zone::transport) {
    return;
  }
  switch (port) {
    case hui::transportPort::stop:
      _transport = TransportState::stopped;
      _recordArmed = false;
      break;
    case hui::transportPort::play:
      _transport = _recordArmed ? TransportState::recording : TransportState::playing;
      break;
    case hui::transportPort::record:
      if (_transport != TransportState::recording) {
        _recordArmed = !_recordArmed;
      }
      break;
    default:
      break;
  }
}

void SimHUIHost::moveBank(std::uint8_t port) {
  const int count = static_cast<int>(_tracks.size());
  // The furthest the first strip may go: the last track, or with filling the start of the last eight.
  const int last = _options.fillChannelStripsWhenBanking ? std::max(0, count - hui::kStripsPerBank) : std::max(0, count - 1);
  int offset = _bankOffset;
  switch (port) {
    case hui::channelSelectionPort::bankLeft:
      offset = std::max(0, offset - hui::kStripsPerBank);
      break;
    case hui::channelSelectionPort::channelLeft:
      offset = std::max(0, offset - 1);
      break;
    case hui::channelSelectionPort::bankRight:
      if (_options.fillChannelStripsWhenBanking) {
        offset = std::max(offset, std::min(offset + hui::kStripsPerBank, last));
      } else if (offset + hui::kStripsPerBank <= last) {
        offset += hui::kStripsPerBank;
      }
      break;
    case hui::channelSelectionPort::channelRight:
      offset = std::max(offset, std::min(offset + 1, last));
      break;
    default:
      return;
  }
  if (offset != _bankOffset) {
    _bankOffset = offset;
    refreshLampsLocked(true);
  }
}

void SimHUIHost::flash() {
  std::lock_guard lock(_mutex);
  _flashOn = !_flashOn;
  refreshLampsLocked(false);
}

bool SimHUIHost::anySoloLocked() const {
  return std::any_of(_tracks.begin(), _tracks.end(), [](const Track& track) { return track.soloed; });
}

bool SimHUIHost::lampLocked(std::size_t strip, std::uint8_t port) const {
  const auto index = static_cast<std::size_t>(_bankOffset) + strip;
  if (index >= _tracks.size()) {
    return false;
  }
  const Track& track = _tracks[index];
  switch (port) {
    case hui::stripPort::mute:
      return track.muted || (!track.soloed && anySoloLocked() && _flashOn);
    case hui::stripPort::solo:
      return track.soloed;
    case hui::stripPort::recordReady:
      return track.recEnabled && (_transport == TransportState::recording || _flashOn);
    default:
      return false;
  }
}

void SimHUIHost::refreshLampsLocked(bool all) {
  if (!_pair) {
    return;
  }
  // One zone select per strip and running status for the ports after it, as Pro Tools sends.
  std::vector<std::uint8_t> bytes;
  for (std::size_t strip = 0; strip < static_cast<std::size_t>(hui::kStripsPerBank); ++strip) {
    bool selected = false;
    for (const std::uint8_t port : hui::kHostStripLamps) {
      const bool on = lampLocked(strip, port);
      auto& sent = _sentLamps[strip][port];
      if (!all && sent == on) {
        continue;
      }
      sent = on;
      if (!selected) {
        const auto select = HUICodec::selectLampZone(static_cast<std::uint8_t>(strip));
        bytes.insert(bytes.end(), bytes.empty() ? select.begin() : select.begin() + 1, select.end());
        selected = true;
      }
      const auto lamp = HUICodec::lampPort(port, on);
      bytes.insert(bytes.end(), lamp.begin() + 1, lamp.end());
    }
  }
  sendLocked(bytes);
}

void SimHUIHost::sendLocked(std::span<const std::uint8_t> bytes) {
  if (_pair && !bytes.empty()) {
    _pair->send(bytes);
  }
}

void SimHUIHost::notify(const std::vector<std::size_t>& changed) {
  if (changed.empty()) {
    return;
  }
  std::function<void(std::size_t)> callback;
  {
    std::lock_guard lock(_mutex);
    if (!_trackChanged) {
      return;
    }
    callback = _trackChanged;
    _notifying.push_back(std::this_thread::get_id());
  }
  for (const std::size_t index : changed) {
    callback(index);
  }
  std::lock_guard lock(_mutex);
  _notifying.erase(std::find(_notifying.begin(), _notifying.end(), std::this_thread::get_id()));
  _notified.notify_all();
}

}  // namespace zar::sim
