#pragma once

#include <algorithm>
#include <cstdint>
#include <string>

#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"

namespace zar::test {

/// Builds pass records as the black box would have kept them.
struct PassRecordBuilder {
  using Record = ZAR_DAWPassRecord;
  using Event = Record::Event;
  using Kind = Record::EventKind;

  Record record;

  static Event event(Kind kind, std::int32_t track = -1, std::string text = {}, bool on = false) {
    Event event;
    event.kind = kind;
    event.track = track;
    event.text = std::move(text);
    event.on = on;
    return event;
  }
  static Event phase(ZAR_DAWEventPhase phase) {
    Event event;
    event.kind = Kind::phase;
    event.phase = phase;
    return event;
  }
  static Event lamp(std::int32_t track, const char* which, bool on) { return event(Kind::trackLamp, track, which, on); }
  static Event read(std::int32_t track, bool on) { return event(Kind::inputRead, track, {}, on); }
  static Event rename(std::int32_t track, std::string name, std::string old) {
    Event renamed = event(Kind::rename, track, std::move(name));
    renamed.detail = std::move(old);
    return renamed;
  }

  PassRecordBuilder& track(std::int32_t position, std::string name, std::array<ZAR_DAWTrackState, 3> states) {
    Record::Track track;
    track.position = position;
    track.name = std::move(name);
    track.hasMode = true;
    track.modeName = "mode";
    track.states = states;
    record.tracks.push_back(std::move(track));
    return *this;
  }
  PassRecordBuilder& add(std::initializer_list<Event> events) {
    for (const auto& event : events) {
      record.events.push_back(event);
      record.events.back().time = static_cast<double>(record.events.size());
    }
    return *this;
  }

  // The events of phase `phase`: from its phase event to the next one.
  using Iterator = std::vector<Event>::iterator;
  std::pair<Iterator, Iterator> stretch(ZAR_DAWEventPhase phase) {
    auto& events = record.events;
    const auto isPhase = [](ZAR_DAWEventPhase p) {
      return [p](const Event& e) { return e.kind == Kind::phase && e.phase == p; };
    };
    const auto begin = std::find_if(events.begin(), events.end(), isPhase(phase));
    const auto end = begin == events.end()
                         ? begin
                         : std::find_if(begin + 1, events.end(), [](const Event& e) { return e.kind == Kind::phase; });
    return {begin, end};
  }
  /// The first event of `kind` for `track` in the phase.
  Event& find(Kind kind, std::int32_t track, ZAR_DAWEventPhase phase) {
    const auto [begin, end] = stretch(phase);
    return *std::find_if(begin, end, [&](const Event& e) { return e.kind == kind && e.track == track; });
  }
  void drop(Kind kind, std::int32_t track, ZAR_DAWEventPhase phase) {
    record.events.erase(record.events.begin() + (&find(kind, track, phase) - record.events.data()));
  }
  void insertAtEnd(ZAR_DAWEventPhase phase, const Event& event) { record.events.insert(stretch(phase).second, event); }
  /// Ends the pass where `phase` would have begun.
  void cutAt(ZAR_DAWEventPhase phase) { record.events.erase(stretch(phase).first, record.events.end()); }

  /// A complete take of cue 12 recorded on "Dialog 1" (position 0) beside another record-type
  /// track, a music track and a track without a mode, where Pro Tools showed all the modes asked.
  static PassRecordBuilder cleanTake() {
    constexpr auto P = ZAR_DAWTrackStatePlay;
    constexpr auto R = ZAR_DAWTrackStateRecord;
    PassRecordBuilder pass;
    auto& record = pass.record;
    record.number = 7;
    record.startedAt = "2026-11-25T14:03:07Z";
    record.mode = ZAR_DAWModeRecord;
    record.cue = {"12", "A", "01:00:10:00", "01:00:14:00", 90240, 90336, 0, 3, 4};
    record.recordTrackPosition = 0;
    pass.track(0, "Dialog 1", {P, R, P}).track(1, "Dialog 2", {P, R, P});
    pass.track(2, "Music", {ZAR_DAWTrackStateInput, P, ZAR_DAWTrackStateMute});
    record.tracks.push_back({3, "Room", false, "none", {P, P, P}, true, false});
    pass.add({phase(ZAR_DAWEventPhaseBefore), lamp(0, "record", true), rename(0, "A_4_12", "Dialog 1"), read(0, false),
              read(1, false), read(2, true)});
    pass.add({phase(ZAR_DAWEventPhaseDuring), read(0, false), read(1, false), read(2, true), lamp(1, "mute", true),
              event(Kind::trackName, 0, "A_4_12"), read(2, false)});
    pass.add({phase(ZAR_DAWEventPhaseAfter), read(0, false), read(1, false), read(2, false), lamp(1, "mute", false),
              lamp(2, "mute", true)});
    record.startTime = 0.5;
    record.endTime = static_cast<double>(record.events.size() + 1);
    return pass;
  }
};

}  // namespace zar::test
