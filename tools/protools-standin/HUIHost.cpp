#include "HUIHost.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <thread>

#include "ZAR_DAWControl/platform/midi/hui/HUICodec.h"

namespace standin {

namespace hui = zar::hui;
using hui::HUICodec;
using hui::HUIEvent;

struct HUIHost::Received {
  HUIHost* host;
  std::vector<std::uint8_t> bytes;
};

namespace {

constexpr guint kPingMilliseconds = 1000;
constexpr guint kFlashMilliseconds = 500;

void say(const std::string& line) {
  fmt::print("{}\n", line);
  std::fflush(stdout);
}

}  // namespace

HUIHost::HUIHost(EditWindow& window, std::shared_ptr<zar::platform::MidiPorts> ports,
                 zar::platform::MidiPortRequest request, Options options)
    : _window(window),
      _ports(std::move(ports)),
      _request(std::move(request)),
      _options(options),
      _soloed(window.tracks().size()) {}

HUIHost::~HUIHost() {
  if (_pingSource != 0) g_source_remove(_pingSource);
  if (_flashSource != 0) g_source_remove(_flashSource);
  _pair.reset();  // waits for a receive in progress
}

void HUIHost::start() {
  openPorts();
  _pingSource = g_timeout_add(kPingMilliseconds, onPing, this);
  _flashSource = g_timeout_add(kFlashMilliseconds, onFlash, this);
}

bool HUIHost::openPorts() {
  if (_pair && !_pair->working()) {
    // Its JACK server went away: the ports of the next one are new, and so is the surface.
    _pair.reset();
    _answered = false;
    say("hui ports lost");
  }
  if (_pair) return true;
  _pair = _ports->open(_request, [this](std::span<const std::uint8_t> bytes) {
    if (_options.receiveDelay.count() > 0) std::this_thread::sleep_for(_options.receiveDelay);
    // From the MIDI thread to the main thread, in order.
    g_idle_add(onReceived, new Received{this, std::vector<std::uint8_t>(bytes.begin(), bytes.end())});
  });
  if (!_pair) return false;
  say(fmt::format("hui ports open: {} / {}", _pair->inputName(), _pair->outputName()));
  refreshLamps(true);  // a session shows its lamps as soon as the surface is there
  return true;
}

gboolean HUIHost::onPing(gpointer self) {
  auto& host = *static_cast<HUIHost*>(self);
  if (host._selected && host.openPorts()) host._pair->send(HUICodec::ping());
  return G_SOURCE_CONTINUE;
}

gboolean HUIHost::onFlash(gpointer self) {
  auto& host = *static_cast<HUIHost*>(self);
  host._flashOn = !host._flashOn;
  host.refreshLamps(false);
  return G_SOURCE_CONTINUE;
}

gboolean HUIHost::onReceived(gpointer data) {
  std::unique_ptr<Received> received(static_cast<Received*>(data));
  received->host->handle(received->bytes);
  return G_SOURCE_REMOVE;
}

void HUIHost::handle(std::span<const std::uint8_t> bytes) {
  const auto messages = _splitter.split(bytes);
  _window.receivedHUI(messages.size());
  if (_options.printReceived) {
    for (const auto& message : messages) say(fmt::format("hui in {:02X}", fmt::join(message, " ")));
  }
  if (!_selected) return;
  for (const HUIEvent& event : _decoder.decode(bytes)) {
    if (event.kind == HUIEvent::Kind::pingReply && !_answered) {
      _answered = true;
      say("hui ping answered");
      // The surface is online: it gets every lamp again. Those sent as the ports opened may have
      // gone out before JACK had joined the ports, or before a surface was listening.
      refreshLamps(true);
    } else if (event.kind == HUIEvent::Kind::switchPort && event.on) {
      press(event.zone, event.port);  // Pro Tools acts on the press; the release only ends it
    }
  }
  refreshLamps(false);
}

void HUIHost::press(std::uint8_t zone, std::uint8_t port) {
  if (zone <= hui::zone::lastStrip) {
    const auto index = static_cast<std::size_t>(_bankOffset + zone);
    if (index >= _window.tracks().size()) return;  // an empty strip
    const auto& track = _window.tracks()[index];
    if (port == hui::stripPort::mute) {
      _window.setMuted(index, !track.muted);
    } else if (port == hui::stripPort::recordReady) {
      _window.setRecEnabled(index, !track.recEnabled);
    } else if (port == hui::stripPort::solo) {
      if (_soloed.size() <= index) _soloed.resize(index + 1);  // a track added since
      _soloed[index] = !_soloed[index];
    }
    return;
  }
  if (zone == hui::zone::channelSelection) {
    moveBank(port);
    return;
  }
  if (zone != hui::zone::transport) return;
  if (port == hui::transportPort::stop) {
    _transport = Transport::stopped;
    _recordArmed = false;
    say("transport stopped");
    showTransport();
  } else if (port == hui::transportPort::play) {
    _transport = _recordArmed ? Transport::recording : Transport::playing;
    say(_recordArmed ? "transport recording" : "transport playing");
    showTransport();
  } else if (port == hui::transportPort::record && _transport != Transport::recording) {
    _recordArmed = !_recordArmed;
    say(_recordArmed ? "transport record armed" : "transport record disarmed");
    showTransport();
  }
}

void HUIHost::moveBank(std::uint8_t port) {
  const int last = std::max(0, static_cast<int>(_window.tracks().size()) - 1);
  int offset = _bankOffset;
  if (port == hui::channelSelectionPort::bankLeft) {
    offset = std::max(0, offset - hui::kStripsPerBank);
  } else if (port == hui::channelSelectionPort::channelLeft) {
    offset = std::max(0, offset - 1);
  } else if (port == hui::channelSelectionPort::bankRight && offset + hui::kStripsPerBank <= last) {
    offset += hui::kStripsPerBank;
  } else if (port == hui::channelSelectionPort::channelRight) {
    offset = std::min(offset + 1, last);
  }
  if (offset != _bankOffset) {
    _bankOffset = offset;
    refreshLamps(true);
  }
}

bool HUIHost::lamp(std::size_t strip, std::uint8_t port) const {
  const auto index = static_cast<std::size_t>(_bankOffset) + strip;
  if (index >= _window.tracks().size()) return false;
  const auto& track = _window.tracks()[index];
  const bool anySolo = std::find(_soloed.begin(), _soloed.end(), true) != _soloed.end();
  const bool soloed = index < _soloed.size() && _soloed[index];
  switch (port) {
    case hui::stripPort::mute:
      return track.muted || (!soloed && anySolo && _flashOn);
    case hui::stripPort::solo:
      return soloed;
    case hui::stripPort::recordReady:
      return track.recEnabled && (_transport == Transport::recording || _flashOn);
    default:
      return false;
  }
}

void HUIHost::trackChanged() { refreshLamps(false); }

void HUIHost::unselect() {
  _selected = false;
  say("hui unselected");
}

void HUIHost::showTransport() {
  switch (_transport) {
    case Transport::playing:
      _window.showTransport("playing");
      return;
    case Transport::recording:
      _window.showTransport("recording");
      return;
    case Transport::stopped:
      break;
  }
  _window.showTransport(_recordArmed ? "record armed" : "stopped");
}

void HUIHost::refreshLamps(bool all) {
  if (!_pair || !_selected) return;
  // One zone select per strip and running status for its ports, as Pro Tools sends them.
  std::vector<std::uint8_t> bytes;
  for (std::size_t strip = 0; strip < static_cast<std::size_t>(hui::kStripsPerBank); ++strip) {
    bool selected = false;
    for (const std::uint8_t port : hui::kHostStripLamps) {
      const bool on = lamp(strip, port);
      auto& sent = _sentLamps[strip][port];
      if (!all && sent == on) continue;
      sent = on;
      if (!selected) {
        const auto select = HUICodec::selectLampZone(static_cast<std::uint8_t>(strip));
        bytes.insert(bytes.end(), bytes.empty() ? select.begin() : select.begin() + 1, select.end());
        selected = true;
      }
      const auto message = HUICodec::lampPort(port, on);
      bytes.insert(bytes.end(), message.begin() + 1, message.end());
    }
  }
  if (!bytes.empty()) _pair->send(bytes);
}

}  // namespace standin
