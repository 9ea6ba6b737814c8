#include "ZAR_DAWControl/passes/PassVerdict.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"

namespace zar::passes {

namespace {

using Record = ZAR_DAWPassRecord;
using Event = Record::Event;
using Kind = Record::EventKind;

constexpr std::size_t kPhaseCount = 3;

/// Where a phase lies in the events: from its first `phase` event (`begin`) to the first `phase`
/// event of another phase after it (`end`), or to the end of the pass.
struct Span {
  bool reached = false;
  std::size_t begin = 0;
  std::size_t end = 0;
};

// The automation treats any phase but Before and During as After.
ZAR_DAWEventPhase phaseOf(const Event& event) {
  return event.phase == ZAR_DAWEventPhaseBefore || event.phase == ZAR_DAWEventPhaseDuring ? event.phase
                                                                                          : ZAR_DAWEventPhaseAfter;
}

bool isPhase(const Event& event) { return event.kind == Kind::phase; }

std::array<Span, kPhaseCount> phaseSpans(const std::vector<Event>& events) {
  std::array<Span, kPhaseCount> spans{};
  std::optional<ZAR_DAWEventPhase> current;
  Span* open = nullptr;
  for (std::size_t i = 0; i < events.size(); ++i) {
    if (!isPhase(events[i]) || phaseOf(events[i]) == current) continue;
    if (open != nullptr) open->end = i;
    current = phaseOf(events[i]);
    Span& span = spans.at(static_cast<std::size_t>(*current - 1));
    open = span.reached ? nullptr : &span;
    if (open != nullptr) *open = Span{true, i, events.size()};
  }
  return spans;
}

// The end of the stretch of the pass that begins with the phase change at `from`.
std::size_t nextPhaseChange(const std::vector<Event>& events, std::size_t from) {
  std::size_t i = from + 1;
  while (i < events.size() && !(isPhase(events[i]) && phaseOf(events[i]) != phaseOf(events[from]))) ++i;
  return i;
}

/// What a track's mode asks by the end of a phase; nothing where it asks nothing.
struct Asked {
  std::optional<bool> recEnabled;
  std::optional<bool> muted;
  std::optional<bool> input;

  void apply(ZAR_DAWTrackState state) {
    switch (state) {
      case ZAR_DAWTrackStatePlay:
        input = false;
        muted = false;
        break;
      case ZAR_DAWTrackStateInput:
        input = true;
        muted = false;
        break;
      case ZAR_DAWTrackStateMute:
        input = false;
        muted = true;
        break;
      default:
        break;
    }
  }
};

Asked askedOf(const Record::Track& track, bool isRecordTrack, ZAR_DAWEventPhase phase) {
  const auto& [before, during, after] = track.states;
  const bool records = during == ZAR_DAWTrackStateRecord;
  Asked asked;
  switch (phase) {
    case ZAR_DAWEventPhaseBefore:
      asked.recEnabled = records && isRecordTrack;
      asked.apply(records && !isRecordTrack ? ZAR_DAWTrackStatePlay : before);
      break;
    case ZAR_DAWEventPhaseDuring:
      // Record enable is set before the cue only; it must hold through the cue.
      asked.recEnabled = records && isRecordTrack;
      if (records) {
        asked.muted = !isRecordTrack;
      } else {
        asked.apply(during);
      }
      break;
    default:
      asked.apply(records && !isRecordTrack ? ZAR_DAWTrackStatePlay : after);
      break;
  }
  return asked;
}

using Shown = Record::PhaseEnd::Shown;

Shown shownAt(const Record& record, const Record::Track& track, const Span& span) {
  const auto& events = record.events;
  Shown shown{track.recEnabled, track.muted, std::nullopt};
  for (std::size_t i = 0; i < span.end; ++i) {
    const Event& event = events[i];
    if (event.kind != Kind::trackLamp || event.track != track.position) continue;
    if (event.text == "record") shown.recEnabled = event.on;
    if (event.text == "mute") shown.muted = event.on;
  }
  // The first frame update of the next phase reads what this phase left, before the framework
  // presses anything for the next one.
  if (span.end < events.size()) {
    const std::size_t nextEnd = nextPhaseChange(events, span.end);
    for (std::size_t i = span.end; i < nextEnd && !shown.input; ++i) {
      if (events[i].kind == Kind::inputRead && events[i].track == track.position) shown.input = events[i].on;
    }
  }
  // Otherwise the last the framework knew in the phase: what it read, or what it pressed since.
  for (std::size_t i = span.end; i > 0 && !shown.input; --i) {
    const Event& event = events[i - 1];
    const bool known = event.kind == Kind::inputRead || event.kind == Kind::inputPress;
    if (known && event.track == track.position) shown.input = event.on;
  }
  return shown;
}

const char* onOff(bool on) { return on ? "on" : "off"; }

std::string phrase(ZAR_DAWEventPhase phase) { return fmt::format("the phase {} the cue", Record::phaseText(phase)); }

const Record::Track* trackAt(const Record& record, std::int32_t position) {
  const auto found = std::find_if(record.tracks.begin(), record.tracks.end(),
                                  [&](const Record::Track& track) { return track.position == position; });
  return found != record.tracks.end() ? &*found : nullptr;
}

void addDifference(Record& record, std::int32_t position, ZAR_DAWEventPhase phase, std::string text) {
  const Record::Track* track = trackAt(record, position);
  record.differences.push_back({position, track != nullptr ? track->name : std::string(), phase, std::move(text)});
}

void judgePhase(Record& record, ZAR_DAWEventPhase phase, const Span& span, bool cut) {
  Record::PhaseEnd end{phase, -1, {}};
  for (std::size_t i = span.begin; i < span.end && end.firstFrame < 0; ++i) {
    if (isPhase(record.events[i]) && phaseOf(record.events[i]) == phase) end.firstFrame = record.events[i].frame;
  }
  for (const auto& track : record.tracks) end.tracks.push_back(shownAt(record, track, span));
  record.phases.push_back(end);

  std::vector<std::string> unread;
  bool inputAsked = false;
  for (std::size_t t = 0; t < record.tracks.size(); ++t) {
    const auto& track = record.tracks[t];
    if (!track.hasMode) continue;
    const Asked asked = askedOf(track, track.position == record.recordTrackPosition, phase);
    const Shown& shown = end.tracks[t];
    const auto compare = [&](const char* what, bool seen, std::optional<bool> wanted) {
      if (wanted && *wanted != seen) {
        addDifference(record, track.position, phase, fmt::format("{} {}, asked {}", what, onOff(seen), onOff(*wanted)));
      }
    };
    compare("record enable", shown.recEnabled, asked.recEnabled);
    compare("mute", shown.muted, asked.muted);
    if (!asked.input) continue;
    inputAsked = true;
    if (cut) continue;
    if (shown.input) {
      compare("input monitor", *shown.input, asked.input);
    } else {
      unread.push_back(fmt::format("{} \"{}\"", track.position, track.name));
    }
  }
  if (cut && inputAsked) {
    // Input monitors are pressed one at a time, at a pace: the pass ended before all could be.
    record.unjudged.push_back(fmt::format("input monitors in {}, where the pass ended: not judged", phrase(phase)));
  }
  if (!unread.empty()) {
    record.unjudged.push_back(fmt::format("input monitor{} of track{} {} not read by the end of {}",
                                          unread.size() > 1 ? "s" : "", unread.size() > 1 ? "s" : "",
                                          fmt::join(unread, ", "), phrase(phase)));
  }
}

void judgeTake(Record& record) {
  const auto& cue = record.cue;
  if (cue.takesAfter != static_cast<std::int64_t>(cue.takesBefore) + 1) {
    addDifference(record, -1, 0,
                  fmt::format("the take count went from {} to {}, not {}", cue.takesBefore, cue.takesAfter,
                              static_cast<std::int64_t>(cue.takesBefore) + 1));
  }
  const auto& events = record.events;
  const auto rename = std::find_if(events.begin(), events.end(), [](const Event& e) { return e.kind == Kind::rename; });
  if (rename == events.end()) {
    if (record.recordTrackPosition == -1) {
      addDifference(
          record, -1, 0,
          fmt::format("no record track at the cue's record-track index {}: the take was not named", cue.recTrackIndex));
    }
    return;
  }
  const auto readBack = std::find_if(
      rename + 1, events.end(), [&](const Event& e) { return e.kind == Kind::trackName && e.track == rename->track; });
  if (readBack == events.end()) {
    record.unjudged.push_back(
        fmt::format("the new name \"{}\" of the record track was not read back during the pass", rename->text));
  } else if (ZAR_DAWAudioTrack::withoutTrailingBlanks(readBack->text) !=
             ZAR_DAWAudioTrack::withoutTrailingBlanks(rename->text)) {  // a name read ends with a blank
    addDifference(record, rename->track, 0,
                  fmt::format("named \"{}\" in Pro Tools, not \"{}\"", readBack->text, rename->text));
  }
}

std::string cutShortText(const Record& record, const std::array<Span, kPhaseCount>& spans) {
  switch (record.ending) {
    case Record::Ending::huiDown:
      return "Pro Tools didn't talk HUI with the framework: nothing was done";
    case Record::Ending::proToolsGone:
      return "Pro Tools went away during the pass";
    case Record::Ending::nextPass:
      return "the next pass began before Stop";
    case Record::Ending::stopped:
      break;
  }
  if (spans[2].reached) return {};
  if (spans[1].reached) return "stopped during the cue";
  if (spans[0].reached) return "stopped before the cue";
  return "stopped before the pass began";
}

}  // namespace

void PassVerdict::judge(ZAR_DAWPassRecord& record) {
  record.differences.clear();
  record.unjudged.clear();
  record.phases.clear();
  const auto spans = phaseSpans(record.events);
  record.cutShort = cutShortText(record, spans);
  for (std::size_t i = 0; i < kPhaseCount; ++i) {
    const Span& span = spans.at(i);
    if (!span.reached) continue;
    // The phase the pass ended in, unless it ran through.
    const bool cut = !record.cutShort.empty() && span.end == record.events.size();
    judgePhase(record, static_cast<ZAR_DAWEventPhase>(i + 1), span, cut);
  }
  if (record.mode == ZAR_DAWModeRecord && record.ending != Record::Ending::huiDown) judgeTake(record);
}

}  // namespace zar::passes
