#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <charconv>
#include <cmath>
#include <exception>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

namespace {

using Json = nlohmann::json;
// Written in the order of the record's members, for a reader of the file; read into the sorted
// kind, whose lookups stay cheap on a hostile line with many keys.
using OrderedJson = nlohmann::ordered_json;
using Record = ZAR_DAWPassRecord;
using EventKind = Record::EventKind;

// A record's values lie at most four levels deep (record, tracks, track, states); a line that
// nests deeper is no record, and is refused as soon as it does.
constexpr int kMaximumDepth = 4;
struct TooDeep : std::exception {};

// The names of the values of the integer-typed enumerations; a value without a name (a mode
// state read from a settings file may be any number) is written as the number.
struct Names {
  std::int64_t first;
  std::span<const char* const> names;

  const char* name(std::int64_t value) const {
    if (value < first || value - first >= static_cast<std::int64_t>(names.size())) return nullptr;
    return names[static_cast<std::size_t>(value - first)];
  }
  std::optional<std::int64_t> value(std::string_view name) const {
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (name == names[i]) return first + static_cast<std::int64_t>(i);
    }
    return std::nullopt;
  }
};
constexpr std::array<const char*, 4> kModeNames{"none", "rehearse", "record", "review"};
constexpr Names kModes{ZAR_DAWModeNone, kModeNames};
constexpr std::array<const char*, 3> kPhaseNames{"before", "during", "after"};
constexpr Names kPhases{ZAR_DAWEventPhaseBefore, kPhaseNames};
constexpr std::array<const char*, 4> kStateNames{"play", "input", "mute", "record"};
constexpr Names kStates{ZAR_DAWTrackStatePlay, kStateNames};

// In the order of the enumeration.
constexpr std::array<const char*, 4> kEndings{"stopped", "huiDown", "proToolsGone", "nextPass"};
static_assert(static_cast<std::size_t>(Record::Ending::nextPass) == kEndings.size() - 1);

// The fields an event kind uses; the pass log keeps these alone.
enum Field : unsigned {
  kTrack = 1U << 0U,
  kPhase = 1U << 1U,
  kFrame = 1U << 2U,
  kOn = 1U << 3U,
  kZone = 1U << 4U,
  kPort = 1U << 5U,
  kBytes = 1U << 6U,
  kText = 1U << 7U,
  kDetail = 1U << 8U,
};
struct Kind {
  EventKind kind;
  const char* name;
  unsigned fields;
};
// In the order of the enumeration.
constexpr std::array<Kind, 14> kKinds{{
    {EventKind::notification, "notification", kText},
    {EventKind::warning, "warning", kText | kDetail | kOn},
    {EventKind::huiSent, "huiSent", kBytes},
    {EventKind::huiNotSent, "huiNotSent", kBytes | kText},
    {EventKind::lamp, "lamp", kZone | kPort | kOn | kTrack | kText},
    {EventKind::trackLamp, "trackLamp", kTrack | kText | kOn},
    {EventKind::inputPress, "inputPress", kTrack | kOn},
    {EventKind::inputRead, "inputRead", kTrack | kOn},
    {EventKind::phase, "phase", kPhase | kFrame},
    {EventKind::selectionTyped, "selectionTyped", kText | kDetail},
    {EventKind::rename, "rename", kTrack | kText | kDetail},
    {EventKind::trackName, "trackName", kTrack | kText},
    {EventKind::accessibilityFailure, "accessibilityFailure", kText | kDetail},
    {EventKind::note, "note", kText},
}};

static_assert([] {
  for (std::size_t i = 0; i < kKinds.size(); ++i) {
    if (kKinds[i].kind != static_cast<EventKind>(i)) return false;
  }
  return true;
}());

// The entry of the table at the enumeration's value, or its last when the value is no enumerator.
template <typename Table, typename Enum>
const auto& entryOf(const Table& table, Enum value) {
  return table[std::min(static_cast<std::size_t>(value), table.size() - 1)];
}

std::string nameOrNumber(const Names& names, std::int64_t value) {
  const char* name = names.name(value);
  return name != nullptr ? std::string(name) : std::to_string(value);
}

OrderedJson named(const Names& names, std::int64_t value) {
  const char* name = names.name(value);
  return name != nullptr ? OrderedJson(name) : OrderedJson(value);
}

std::string hexBytes(const Record::Event& event) {
  const std::size_t size = std::min<std::size_t>(event.size, event.bytes.size());
  return fmt::format("{:02x}",
                     fmt::join(event.bytes.begin(), event.bytes.begin() + static_cast<std::ptrdiff_t>(size), " "));
}

OrderedJson eventJSON(const Record::Event& event) {
  const Kind& kind = entryOf(kKinds, event.kind);
  OrderedJson json{{"time", event.time}, {"kind", kind.name}};
  const unsigned fields = kind.fields;
  if ((fields & kTrack) != 0U) json["track"] = event.track;
  if ((fields & kPhase) != 0U) json["phase"] = named(kPhases, event.phase);
  if ((fields & kFrame) != 0U) json["frame"] = event.frame;
  if ((fields & kZone) != 0U) json["zone"] = event.zone;
  if ((fields & kPort) != 0U) json["port"] = event.port;
  if ((fields & kOn) != 0U) json["on"] = event.on;
  if ((fields & kBytes) != 0U) json["bytes"] = hexBytes(event);
  if ((fields & kText) != 0U) json["text"] = event.text;
  if ((fields & kDetail) != 0U) json["detail"] = event.detail;
  return json;
}

// Reading: every function fails (false) on a missing member or one of the wrong type or range.

const Json* member(const Json& object, const char* key) {
  const auto found = object.find(key);
  return found != object.end() ? &*found : nullptr;
}

template <typename T>
bool readValue(const Json* value, T& out) {
  if (value == nullptr) return false;
  if constexpr (std::is_same_v<T, bool>) {
    if (!value->is_boolean()) return false;
    out = value->get<bool>();
  } else if constexpr (std::is_same_v<T, double>) {
    // A number too large for a double reads as infinity, which no clock gives and JSON can't write.
    if (!value->is_number() || !std::isfinite(value->get<double>())) return false;
    out = value->get<double>();
  } else if constexpr (std::is_same_v<T, std::string>) {
    if (!value->is_string()) return false;
    out = value->get_ref<const std::string&>();
  } else {
    if (value->is_number_unsigned()) {
      const auto number = value->get<std::uint64_t>();
      if (!std::in_range<T>(number)) return false;
      out = static_cast<T>(number);
    } else if (value->is_number_integer()) {
      const auto number = value->get<std::int64_t>();
      if (!std::in_range<T>(number)) return false;
      out = static_cast<T>(number);
    } else {
      return false;
    }
  }
  return true;
}

template <typename T>
bool read(const Json& object, const char* key, T& out) {
  return readValue(member(object, key), out);
}

// A value of an integer-typed enumeration: its name, or a number.
template <typename T>
bool readNamed(const Json& value, const Names& names, T& out) {
  std::int64_t number = 0;
  if (value.is_string()) {
    const auto named = names.value(value.get_ref<const std::string&>());
    if (!named) return false;
    number = *named;
  } else if (!readValue(&value, number)) {
    return false;
  }
  if constexpr (std::is_enum_v<T>) {
    if (!std::in_range<std::underlying_type_t<T>>(number)) return false;
  }
  out = static_cast<T>(number);
  return true;
}

template <typename T>
bool readNamed(const Json& object, const char* key, const Names& names, T& out) {
  const Json* value = member(object, key);
  return value != nullptr && readNamed(*value, names, out);
}

bool readBytes(const Json& object, Record::Event& event) {
  std::string text;
  if (!read(object, "bytes", text)) return false;
  // "", "90", "90 1f", "90 1f 7f".
  if (text.size() > 8 || (!text.empty() && text.size() % 3 != 2)) return false;
  const std::size_t count = (text.size() + 1) / 3;
  for (std::size_t i = 0; i < count; ++i) {
    const char* begin = text.data() + 3 * i;
    if (i > 0 && begin[-1] != ' ') return false;
    const auto [end, error] = std::from_chars(begin, begin + 2, event.bytes[i], 16);
    if (error != std::errc() || end != begin + 2) return false;
  }
  event.size = static_cast<std::uint8_t>(count);
  return true;
}

std::optional<Record::Event> readEvent(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  Record::Event event;
  std::string kindName;
  if (!read(json, "time", event.time) || !read(json, "kind", kindName)) return std::nullopt;
  const auto kind = std::find_if(kKinds.begin(), kKinds.end(), [&](const Kind& k) { return kindName == k.name; });
  if (kind == kKinds.end()) return std::nullopt;
  event.kind = kind->kind;
  const unsigned fields = kind->fields;
  const bool ok = ((fields & kTrack) == 0U || read(json, "track", event.track)) &&
                  ((fields & kPhase) == 0U || readNamed(json, "phase", kPhases, event.phase)) &&
                  ((fields & kFrame) == 0U || read(json, "frame", event.frame)) &&
                  ((fields & kZone) == 0U || read(json, "zone", event.zone)) &&
                  ((fields & kPort) == 0U || read(json, "port", event.port)) &&
                  ((fields & kOn) == 0U || read(json, "on", event.on)) &&
                  ((fields & kBytes) == 0U || readBytes(json, event)) &&
                  ((fields & kText) == 0U || read(json, "text", event.text)) &&
                  ((fields & kDetail) == 0U || read(json, "detail", event.detail));
  if (!ok) return std::nullopt;
  return event;
}

std::optional<Record::Track> readTrack(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  Record::Track track;
  const Json* states = member(json, "states");
  if (states == nullptr || !states->is_array() || states->size() != track.states.size()) return std::nullopt;
  for (std::size_t i = 0; i < track.states.size(); ++i) {
    if (!readNamed((*states)[i], kStates, track.states[i])) return std::nullopt;
  }
  if (!read(json, "position", track.position) || !read(json, "name", track.name) ||
      !read(json, "hasMode", track.hasMode) || !read(json, "modeName", track.modeName) ||
      !read(json, "recEnabled", track.recEnabled) || !read(json, "muted", track.muted)) {
    return std::nullopt;
  }
  return track;
}

std::optional<Record::Difference> readDifference(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  Record::Difference difference;
  // No phase for the pass as a whole.
  if (member(json, "phase") != nullptr && !readNamed(json, "phase", kPhases, difference.phase)) return std::nullopt;
  if (!read(json, "position", difference.position) || !read(json, "track", difference.track) ||
      !read(json, "text", difference.text)) {
    return std::nullopt;
  }
  return difference;
}

// What a phase's end showed of a track, as "R-?": record enable R or -, mute M or -, input
// monitor I, - or ? (never read).
std::string shownText(const Record::PhaseEnd::Shown& shown) {
  return {shown.recEnabled ? 'R' : '-', shown.muted ? 'M' : '-', !shown.input ? '?' : *shown.input ? 'I' : '-'};
}

std::optional<Record::PhaseEnd::Shown> readShown(const Json& json) {
  if (!json.is_string()) return std::nullopt;
  const auto& text = json.get_ref<const std::string&>();
  if (text.size() != 3 || (text[0] != 'R' && text[0] != '-') || (text[1] != 'M' && text[1] != '-') ||
      (text[2] != 'I' && text[2] != '-' && text[2] != '?')) {
    return std::nullopt;
  }
  return Record::PhaseEnd::Shown{text[0] == 'R', text[1] == 'M',
                                 text[2] == '?' ? std::nullopt : std::optional(text[2] == 'I')};
}

bool readCue(const Json& json, Record::Cue& cue) {
  return json.is_object() && read(json, "cueNumber", cue.cueNumber) &&
         read(json, "characterPrefix", cue.characterPrefix) && read(json, "startTC", cue.startTC) &&
         read(json, "endTC", cue.endTC) && read(json, "inPointFrameIndex", cue.inPointFrameIndex) &&
         read(json, "endFrameIndex", cue.endFrameIndex) && read(json, "recTrackIndex", cue.recTrackIndex) &&
         read(json, "takesBefore", cue.takesBefore) && read(json, "takesAfter", cue.takesAfter);
}

// Reads every element of the array `key` into `out`; at most `limit` of them.
template <typename T, typename ReadOne>
bool readArray(const Json& object, const char* key, std::size_t limit, std::vector<T>& out, ReadOne readOne) {
  const Json* array = member(object, key);
  if (array == nullptr || !array->is_array() || array->size() > limit) return false;
  out.reserve(array->size());
  for (const auto& element : *array) {
    auto value = readOne(element);
    if (!value) return false;
    out.push_back(std::move(*value));
  }
  return true;
}

std::optional<Record::PhaseEnd> readPhaseEnd(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  Record::PhaseEnd end;
  if (!readNamed(json, "phase", kPhases, end.phase) || !read(json, "firstFrame", end.firstFrame) ||
      !readArray(json, "tracks", std::numeric_limits<std::size_t>::max(), end.tracks, readShown)) {
    return std::nullopt;
  }
  return end;
}

std::optional<Record> readRecord(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  Record record;
  std::string endingName;
  const Json* cue = member(json, "cue");
  const bool ok =
      read(json, "number", record.number) && read(json, "startedAt", record.startedAt) &&
      read(json, "startTime", record.startTime) && read(json, "endTime", record.endTime) &&
      readNamed(json, "mode", kModes, record.mode) && cue != nullptr && readCue(*cue, record.cue) &&
      readArray(json, "tracks", std::numeric_limits<std::size_t>::max(), record.tracks, readTrack) &&
      read(json, "recordTrackPosition", record.recordTrackPosition) &&
      readArray(json, "events", Record::kMaximumEvents, record.events, readEvent) &&
      read(json, "droppedEvents", record.droppedEvents) && read(json, "ending", endingName) &&
      read(json, "cutShort", record.cutShort) &&
      readArray(json, "phases", std::numeric_limits<std::size_t>::max(), record.phases, readPhaseEnd) &&
      readArray(json, "differences", std::numeric_limits<std::size_t>::max(), record.differences, readDifference) &&
      readArray(json, "unjudged", std::numeric_limits<std::size_t>::max(), record.unjudged,
                [](const Json& line) -> std::optional<std::string> {
                  if (!line.is_string()) return std::nullopt;
                  return line.get<std::string>();
                });
  const auto ending = std::find(kEndings.begin(), kEndings.end(), endingName);
  if (!ok || ending == kEndings.end()) return std::nullopt;
  record.ending = static_cast<Record::Ending>(ending - kEndings.begin());
  return record;
}

}  // namespace

std::string ZAR_DAWPassRecord::verdictText() const {
  const bool reachedAPhase =
      std::any_of(events.begin(), events.end(), [](const Event& event) { return event.kind == EventKind::phase; });
  if (!reachedAPhase && !cutShort.empty()) return fmt::format("cut short: {}", cutShort);
  std::string text = differences.empty()       ? std::string("as the modes ask")
                     : differences.size() == 1 ? std::string("1 difference")
                                               : fmt::format("{} differences", differences.size());
  if (!cutShort.empty()) text += fmt::format("; cut short: {}", cutShort);
  return text;
}

std::string ZAR_DAWPassRecord::modeText(ZAR_DAWMode mode) { return nameOrNumber(kModes, mode); }

std::string ZAR_DAWPassRecord::phaseText(ZAR_DAWEventPhase phase) { return nameOrNumber(kPhases, phase); }

std::string ZAR_DAWPassRecord::toJSONLine() const {
  OrderedJson cueJSON{{"cueNumber", cue.cueNumber},
                      {"characterPrefix", cue.characterPrefix},
                      {"startTC", cue.startTC},
                      {"endTC", cue.endTC},
                      {"inPointFrameIndex", cue.inPointFrameIndex},
                      {"endFrameIndex", cue.endFrameIndex},
                      {"recTrackIndex", cue.recTrackIndex},
                      {"takesBefore", cue.takesBefore},
                      {"takesAfter", cue.takesAfter}};
  auto tracksJSON = OrderedJson::array();
  for (const auto& track : tracks) {
    auto states = OrderedJson::array();
    for (const auto state : track.states) states.push_back(named(kStates, state));
    tracksJSON.push_back({{"position", track.position},
                          {"name", track.name},
                          {"hasMode", track.hasMode},
                          {"modeName", track.modeName},
                          {"states", std::move(states)},
                          {"recEnabled", track.recEnabled},
                          {"muted", track.muted}});
  }
  auto eventsJSON = OrderedJson::array();
  for (const auto& event : events) eventsJSON.push_back(eventJSON(event));
  auto differencesJSON = OrderedJson::array();
  for (const auto& difference : differences) {
    OrderedJson json{{"position", difference.position}, {"track", difference.track}};
    if (difference.phase != 0) json["phase"] = named(kPhases, difference.phase);
    json["text"] = difference.text;
    differencesJSON.push_back(std::move(json));
  }
  auto phasesJSON = OrderedJson::array();
  for (const auto& phase : phases) {
    auto shown = OrderedJson::array();
    for (const auto& track : phase.tracks) shown.push_back(shownText(track));
    phasesJSON.push_back(
        {{"phase", named(kPhases, phase.phase)}, {"firstFrame", phase.firstFrame}, {"tracks", std::move(shown)}});
  }
  const OrderedJson json{{"number", number},
                         {"startedAt", startedAt},
                         {"startTime", startTime},
                         {"endTime", endTime},
                         {"mode", named(kModes, mode)},
                         {"cue", std::move(cueJSON)},
                         {"tracks", std::move(tracksJSON)},
                         {"recordTrackPosition", recordTrackPosition},
                         {"events", std::move(eventsJSON)},
                         {"droppedEvents", droppedEvents},
                         {"ending", entryOf(kEndings, ending)},
                         {"cutShort", cutShort},
                         {"phases", std::move(phasesJSON)},
                         {"differences", std::move(differencesJSON)},
                         {"unjudged", unjudged}};
  return json.dump(-1, ' ', false, OrderedJson::error_handler_t::replace);
}

std::optional<ZAR_DAWPassRecord> ZAR_DAWPassRecord::fromJSONLine(std::string_view line) {
  try {
    const Json json = Json::parse(line.begin(), line.end(), [](int depth, Json::parse_event_t, Json&) {
      if (depth > kMaximumDepth) throw TooDeep();
      return true;
    });
    return readRecord(json);
  } catch (const std::exception&) {
    // Not JSON, too deep, or a value nlohmann refuses to convert: no record.
    return std::nullopt;
  }
}
