#pragma once

#include <algorithm>
#include <string>

#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"

namespace zar::test {

/// Builds pass records as the black box keeps them, and changes them in place.
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
    Event event = PassRecordBuilder::event(Kind::phase);
    event.phase = phase;
    return event;
  }
  static Event lamp(std::int32_t track, const char* which, bool on) { return event(Kind::trackLamp, track, which, on); }
  static Event read(std::int32_t track, bool on) { return event(Kind::inputRead, track, {}, on); }

  /// The events of `phase`, from its phase event to the next one.
  auto stretch(ZAR_DAWEventPhase phase) {
    auto& events = record.events;
    const auto begin = std::find_if(events.begin(), events.end(),
                                    [&](const Event& e) { return e.kind == Kind::phase && e.phase == phase; });
    const auto end = std::find_if(begin + (begin != events.end() ? 1 : 0), events.end(),
                                  [](const Event& e) { return e.kind == Kind::phase; });
    return std::pair{begin, end};
  }
  /// The first event of `kind` for `track` in `phase`.
  auto find(Kind kind, std::int32_t track, ZAR_DAWEventPhase phase) {
    const auto [begin, end] = stretch(phase);
    return std::find_if(begin, end, [&](const Event& e) { return e.kind == kind && e.track == track; });
  }
  void drop(Kind kind, std::int32_t track, ZAR_DAWEventPhase phase) { record.events.erase(find(kind, track, phase)); }
  void insertAtEnd(ZAR_DAWEventPhase phase, const Event& event) { record.events.insert(stretch(phase).second, event); }
  /// Ends the pass where `phase` would have begun.
  void cutAt(ZAR_DAWEventPhase phase) { record.events.erase(stretch(phase).first, record.events.end()); }

  /// A complete take of cue 12 on "Dialog 1" (position 0) beside another record-type track, a
  /// music track and a track without a mode, where Pro Tools showed all that the modes asked.
  static PassRecordBuilder cleanTake() {
    constexpr auto P = ZAR_DAWTrackStatePlay;
    constexpr auto R = ZAR_DAWTrackStateRecord;
    PassRecordBuilder pass;
    auto& record = pass.record;
    record.number = 7;
    record.startedAt = "2026-11-25T14:03:07Z";
    record.endTime = 9.5;
    record.mode = ZAR_DAWModeRecord;
    record.cue = {"12", "A", "01:00:10:00", "01:00:14:00", 90240, 90336, 0, 3, 4};
    record.recordTrackPosition = 0;
    record.tracks = {{0, "Dialog 1", true, "Rec", {P, R, P}, false, false},
                     {1, "Dialog 2", true, "Rec", {P, R, P}, false, false},
                     {2, "Music", true, "Music", {ZAR_DAWTrackStateInput, P, ZAR_DAWTrackStateMute}, false, false},
                     {3, "Room", false, "none", {P, P, P}, true, false}};
    record.events = {phase(ZAR_DAWEventPhaseBefore),
                     lamp(0, "record", true),
                     event(Kind::rename, 0, "A_4_12"),
                     read(0, false),
                     read(1, false),
                     read(2, true),
                     phase(ZAR_DAWEventPhaseDuring),
                     read(0, false),
                     read(1, false),
                     read(2, true),
                     lamp(1, "mute", true),
                     event(Kind::trackName, 0, "A_4_12"),
                     read(2, false),
                     phase(ZAR_DAWEventPhaseAfter),
                     read(0, false),
                     read(1, false),
                     read(2, false),
                     lamp(1, "mute", false),
                     lamp(2, "mute", true)};
    return pass;
  }
};

}  // namespace zar::test
