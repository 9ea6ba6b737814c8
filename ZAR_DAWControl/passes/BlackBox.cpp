#include "ZAR_DAWControl/passes/BlackBox.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <utility>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/passes/PassVerdict.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace zar::passes {

namespace {

using Event = ZAR_DAWPassRecord::Event;
using Kind = ZAR_DAWPassRecord::EventKind;

/// Track positions whose input reads and names are followed; an event of a position beyond is
/// always kept (no session has that many tracks, and the state stays small whatever comes in).
constexpr std::size_t kFollowedPositions = 1024;

double clockNow() {
  const auto platform = platform::Platform::current();
  return platform->clock ? platform->clock->now() : 0.0;
}

/// "2026-11-25T14:03:07Z".
std::string utcText(double secondsSince1970) {
  const auto seconds = static_cast<std::time_t>(std::floor(secondsSince1970));
  std::tm parts{};
  if (gmtime_r(&seconds, &parts) == nullptr) return {};
  char text[32];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return std::string(text, length);
}

/// The button a lamp message names, as HUIProtocol.h lists the ports; empty for the others.
const char* buttonName(std::uint8_t zone, std::uint8_t port) {
  static constexpr const char* strip[] = {"fader touch", "select", "mute", "solo",
                                          "automation", "v-select", "insert", "record ready"};
  static constexpr const char* channelSelection[] = {"channel left", "bank left", "channel right", "bank right"};
  static constexpr const char* transport[] = {"talkback", "rewind", "fast forward", "stop", "play", "record"};
  if (zone <= hui::zone::lastStrip && port < std::size(strip)) return strip[port];
  if (zone == hui::zone::channelSelection && port < std::size(channelSelection)) return channelSelection[port];
  if (zone == hui::zone::transport && port < std::size(transport)) return transport[port];
  return "";
}

Event messageEvent(Kind kind, std::span<const std::uint8_t> message) {
  Event event{.kind = kind, .text = {}, .detail = {}};
  event.size = static_cast<std::uint8_t>(std::min<std::size_t>(message.size(), 255));
  std::copy_n(message.begin(), std::min(message.size(), event.bytes.size()), event.bytes.begin());
  return event;
}

bool followed(std::int32_t track) { return track >= 0 && static_cast<std::size_t>(track) < kFollowedPositions; }

/// The entry of a followed `track` in per-position state, which grows (with `fill`) to hold it.
template <typename T>
T& entryOf(std::vector<T>& entries, std::int32_t track, const T& fill = T{}) {
  const auto position = static_cast<std::size_t>(track);
  if (entries.size() <= position) entries.resize(position + 1, fill);
  return entries[position];
}

}  // namespace

BlackBox& BlackBox::shared() {
  // Never destroyed: the MIDI threads may report traffic while the process exits.
  static BlackBox* const box = [] {
    auto* made = new BlackBox();
    ZAR_HUITrafficObserver::setShared(made);
    return made;
  }();
  return *box;
}

BlackBox::BlackBox() = default;

void BlackBox::beginPass(ZAR_DAWPassRecord start) {
  const auto platform = platform::Platform::current();
  const double now = platform->clock ? platform->clock->now() : 0.0;
  auto pass = std::make_unique<Pass>();
  start.startTime = now;
  start.startedAt = utcText(platform->clock ? platform->clock->secondsSince1970() : 0.0);
  start.endTime = 0;
  start.events.clear();
  start.events.reserve(ZAR_DAWPassRecord::kMaximumEvents);  // appending never reallocates under the lock
  start.droppedEvents = 0;
  start.cutShort.clear();
  start.differences.clear();
  start.unjudged.clear();
  for (const auto& track : start.tracks) {
    if (followed(track.position)) entryOf(pass->names, track.position) = track.name;
  }
  pass->record = std::move(start);

  std::unique_ptr<Pass> previous;
  {
    std::lock_guard lock(_mutex);
    pass->record.number = ++_passCount;
    previous = std::exchange(_pass, std::move(pass));
    _recording.store(true, std::memory_order_release);
  }
  if (previous) {
    finish(std::move(previous->record), ZAR_DAWPassRecord::Ending::nextPass, -1, now);
  }
}

std::shared_ptr<const ZAR_DAWPassRecord> BlackBox::endPass(ZAR_DAWPassRecord::Ending ending,
                                                           std::int32_t takesAfter) {
  if (!recording()) return nullptr;
  const double now = clockNow();
  std::unique_ptr<Pass> pass;
  {
    std::lock_guard lock(_mutex);
    pass = std::move(_pass);
    _recording.store(false, std::memory_order_release);
  }
  if (!pass) return nullptr;
  return finish(std::move(pass->record), ending, takesAfter, now);
}

std::shared_ptr<const ZAR_DAWPassRecord> BlackBox::finish(ZAR_DAWPassRecord record, ZAR_DAWPassRecord::Ending ending,
                                                          std::int32_t takesAfter, double endTime) {
  record.ending = ending;
  record.endTime = endTime;
  record.cue.takesAfter = takesAfter >= 0 ? takesAfter : record.cue.takesBefore;
  record.events.shrink_to_fit();
  PassVerdict::judge(record);
  auto finished = std::make_shared<const ZAR_DAWPassRecord>(std::move(record));
  Sink sink;
  {
    std::lock_guard lock(_mutex);
    _recent.push_back(finished);
    while (_recent.size() > kRecentPasses) _recent.pop_front();
    sink = _sink;
  }
  if (sink) sink(finished);
  if (const auto center = platform::Platform::current()->notificationCenter) {
    center->post(ZAR_DAWApplicationPassEndedNotification, finished);
  }
  return finished;
}

bool BlackBox::recording() const { return _recording.load(std::memory_order_acquire); }

void BlackBox::appendLocked(Event&& event) {
  auto& record = _pass->record;
  if (record.events.size() < ZAR_DAWPassRecord::kMaximumEvents) {
    record.events.push_back(std::move(event));
  } else {
    ++record.droppedEvents;
  }
}

void BlackBox::record(Event event) {
  if (!recording()) return;
  if (event.time == 0) event.time = clockNow();
  std::lock_guard lock(_mutex);
  if (_pass) appendLocked(std::move(event));
}

void BlackBox::notification(const std::string& name) {
  if (!recording()) return;
  record(Event{.kind = Kind::notification, .text = name, .detail = {}});
}

void BlackBox::huiSent(std::span<const std::uint8_t> message) {
  if (!recording()) return;
  record(messageEvent(Kind::huiSent, message));
}

void BlackBox::huiNotSent(std::span<const std::uint8_t> message, const char* why) {
  if (!recording()) return;
  auto event = messageEvent(Kind::huiNotSent, message);
  event.text = why != nullptr ? why : "";
  record(std::move(event));
}

void BlackBox::lamp(std::uint8_t zone, std::uint8_t port, bool on, std::int32_t track) {
  if (!recording()) return;
  record(Event{.kind = Kind::lamp,
               .track = track,
               .on = on,
               .zone = zone,
               .port = port,
               .text = buttonName(zone, port),
               .detail = {}});
}

void BlackBox::trackLamp(std::int32_t track, bool record, bool on) {
  if (!recording()) return;
  this->record(
      Event{.kind = Kind::trackLamp, .track = track, .on = on, .text = record ? "record" : "mute", .detail = {}});
}

void BlackBox::inputPress(std::int32_t track, bool on) {
  if (!recording()) return;
  record(Event{.kind = Kind::inputPress, .track = track, .on = on, .text = {}, .detail = {}});
}

void BlackBox::inputRead(std::int32_t track, bool on) {
  if (!recording()) return;
  const double now = clockNow();
  std::lock_guard lock(_mutex);
  if (!_pass) return;
  if (followed(track)) {
    const std::int8_t read = on ? 1 : 0;
    if (std::exchange(entryOf(_pass->inputReads, track, std::int8_t{-1}), read) == read) return;
  }
  appendLocked(Event{.time = now, .kind = Kind::inputRead, .track = track, .on = on, .text = {}, .detail = {}});
}

void BlackBox::phase(ZAR_DAWEventPhase phase, std::int64_t frame) {
  if (!recording()) return;
  const double now = clockNow();
  std::lock_guard lock(_mutex);
  if (!_pass) return;
  auto& pass = *_pass;
  if (phase != pass.phase) {
    pass.phase = phase;
    pass.phaseHasFrame = frame >= 0;
    std::fill(pass.inputReads.begin(), pass.inputReads.end(), std::int8_t{-1});  // first reads of the phase
  } else if (frame >= 0 && !pass.phaseHasFrame) {
    pass.phaseHasFrame = true;
  } else {
    return;
  }
  appendLocked(Event{.time = now, .kind = Kind::phase, .phase = phase, .frame = frame, .text = {}, .detail = {}});
}

void BlackBox::trackName(std::int32_t track, const std::string& name) {
  if (!recording()) return;
  const double now = clockNow();
  std::lock_guard lock(_mutex);
  if (!_pass) return;
  if (followed(track)) {
    auto& last = entryOf(_pass->names, track);
    if (last == name) return;
    last = name;
  }
  appendLocked(Event{.time = now, .kind = Kind::trackName, .track = track, .text = name, .detail = {}});
}

void BlackBox::rename(std::int32_t track, const std::string& name, const std::string& oldName) {
  if (!recording()) return;
  const double now = clockNow();
  std::lock_guard lock(_mutex);
  if (!_pass) return;
  if (followed(track)) entryOf(_pass->names, track).reset();
  appendLocked(Event{.time = now, .kind = Kind::rename, .track = track, .text = name, .detail = oldName});
}

std::vector<std::shared_ptr<const ZAR_DAWPassRecord>> BlackBox::recentRecords() const {
  std::lock_guard lock(_mutex);
  return {_recent.begin(), _recent.end()};
}

void BlackBox::setSink(Sink sink) {
  std::lock_guard lock(_mutex);
  _sink = std::move(sink);
}

void BlackBox::huiMessageSent(std::span<const std::uint8_t> message) { huiSent(message); }

void BlackBox::huiMessageNotSent(std::span<const std::uint8_t> message, const char* why) { huiNotSent(message, why); }

void BlackBox::huiLampReceived(std::uint8_t zone, std::uint8_t port, bool on, std::int32_t track) {
  lamp(zone, port, on, track);
}

void BlackBox::huiLampToggled(std::int32_t track, bool recordReady, bool on) { trackLamp(track, recordReady, on); }

}  // namespace zar::passes
