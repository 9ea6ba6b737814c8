#include "PassReport.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cmath>
#include <limits>
#include <ctime>
#include <map>
#include <optional>

#include "DemoOutput.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"

namespace dawctl {

namespace {

using Event = ZAR_DAWPassRecord::Event;
using Kind = ZAR_DAWPassRecord::EventKind;
using zar::hui::HUIEvent;

const char* lampText(bool on) { return on ? "on" : "off"; }

std::string passTitle(const ZAR_DAWPassRecord& record) {
  const auto& cue = record.cue;
  if (record.mode == ZAR_DAWModeRecord) return fmt::format("Record take {} of cue {}", cue.takesBefore + 1, cue.cueNumber);
  if (record.mode == ZAR_DAWModeRehearse) return fmt::format("Rehearse cue {}", cue.cueNumber);
  return fmt::format("Review cue {}", cue.cueNumber);
}

// A track's name as a person reads it.
std::string shownName(std::string_view name) { return std::string(ZAR_DAWAudioTrack::withoutTrailingBlanks(name)); }

// "2 \"Dialog 2\"", or the position alone for a track the pass didn't find.
std::string trackText(const ZAR_DAWPassRecord& record, std::int32_t position) {
  for (const auto& track : record.tracks) {
    if (track.position == position) return fmt::format("{} \"{}\"", position, shownName(track.name));
  }
  return std::to_string(position);
}

std::string phaseTitle(ZAR_DAWEventPhase phase) {
  return ZAR_DAWPassRecord::phaseText(phase) + (phase == ZAR_DAWEventPhaseDuring ? "" : " the cue");
}

// The timeline: one demo event for each recorded event worth a line. Presses of one HUI button in
// a row make one line with their count.
std::vector<nlohmann::json> timeline(const ZAR_DAWPassRecord& record) {
  std::vector<nlohmann::json> events;
  const auto add = [&](const Event& event, nlohmann::json line) {
    line["t"] = roundedSeconds(event.time - record.startTime);
    events.push_back(std::move(line));
  };
  zar::hui::HUIDecoder decoder;
  constexpr std::size_t kNoRun = std::numeric_limits<std::size_t>::max();
  std::size_t pressRun = kNoRun;  // the last line, while it is a run of HUI presses
  bool pingAnswered = false;
  std::map<std::int32_t, bool> inputs;
  // The lamps the pass began with make one line of those lit.
  bool begun = false;
  std::vector<std::string> armed;
  std::vector<std::string> muted;
  for (const Event& event : record.events) {
    if (event.kind != Kind::huiSent) pressRun = kNoRun;
    if (!begun && event.kind == Kind::trackLamp) {
      if (event.on) (event.text == "record" ? armed : muted).push_back(trackText(record, event.track));
      continue;
    }
    if (!begun && event.kind == Kind::phase) {
      begun = true;
      const auto list = [](const std::vector<std::string>& tracks) {
        return tracks.empty() ? std::string("none") : fmt::format("{}", fmt::join(tracks, ", "));
      };
      add(event, {{"event", "note"},
                  {"text", fmt::format("as the pass begins Pro Tools shows armed: {}; muted: {}", list(armed), list(muted))}});
    }
    switch (event.kind) {
      case Kind::notification:
        add(event, {{"event", "notification"}, {"name", event.text}});
        break;
      case Kind::warning:
        if (event.on) {
          add(event, {{"event", "warning"}, {"message", event.text}, {"informative", event.detail}});
        } else {
          add(event, {{"event", "note"}, {"text", fmt::format("warning not shown (the user suppressed it): \"{}\"", event.text)}});
        }
        break;
      case Kind::huiSent:
        for (const HUIEvent& hui : decoder.decode(std::span(event.bytes.data(), event.size))) {
          if (hui.kind == HUIEvent::Kind::pingReply) {
            if (!pingAnswered) add(event, {{"event", "hui"}, {"what", "ping answered"}});
            pingAnswered = true;
            pressRun = kNoRun;
            continue;
          }
          if (hui.kind != HUIEvent::Kind::switchPort || !hui.on) continue;  // releases complete a press
          const std::string button = huiButtonName(hui);
          if (pressRun != kNoRun && events[pressRun]["button"] == button) {
            events[pressRun]["count"] = events[pressRun]["count"].get<int>() + 1;
            continue;
          }
          add(event, {{"event", "hui"}, {"what", "press"}, {"button", button}, {"count", 1}});
          pressRun = events.size() - 1;
        }
        break;
      case Kind::huiNotSent:
        add(event, {{"event", "note"},
                    {"text", fmt::format("HUI message {:02x} not sent: {}",
                                         fmt::join(std::span(event.bytes.data(), event.size), " "), event.text)}});
        break;
      case Kind::lamp:
        break;  // the settled lamps of the tracks say what counts
      case Kind::trackLamp:
        add(event, {{"event", "note"},
                    {"text", fmt::format("Pro Tools shows the {} of {} {}", event.text == "record" ? "record enable" : "mute",
                                         trackText(record, event.track), lampText(event.on))}});
        break;
      case Kind::inputPress:
        add(event, {{"event", "pressed"},
                    {"element", fmt::format("the input monitor (to turn it {})", lampText(event.on))},
                    {"track", trackText(record, event.track)}});
        break;
      case Kind::inputRead: {
        const auto known = inputs.find(event.track);
        if (known != inputs.end() && known->second != event.on) {
          add(event, {{"event", "note"},
                      {"text", fmt::format("the input monitor of {} reads {}", trackText(record, event.track),
                                           lampText(event.on))}});
        }
        inputs[event.track] = event.on;
        break;
      }
      case Kind::phase:
        add(event, {{"event", "note"},
                    {"text", event.frame < 0 ? fmt::format("{}: the pass begins", phaseTitle(event.phase))
                                             : fmt::format("{}: first frame {}", phaseTitle(event.phase), event.frame)}});
        break;
      case Kind::selectionTyped:
        add(event, {{"event", "typed"}, {"text", event.text}, {"into", "the selection " + event.detail}, {"seconds", 0.0}});
        break;
      case Kind::rename:
        add(event, {{"event", "renamed"}, {"from", shownName(event.detail)}, {"to", event.text}});
        break;
      case Kind::trackName:
        add(event, {{"event", "note"},
                    {"text", fmt::format("Pro Tools shows track {} named \"{}\"", event.track, shownName(event.text))}});
        break;
      case Kind::accessibilityFailure:
        add(event, {{"event", "note"}, {"text", fmt::format("accessibility failed: {} ({})", event.text, event.detail)}});
        break;
      case Kind::note:
        add(event, {{"event", "note"}, {"text", event.text}});
        break;
    }
  }
  if (record.droppedEvents > 0) {
    events.push_back({{"event", "note"},
                      {"t", roundedSeconds(record.endTime - record.startTime)},
                      {"text", fmt::format("{} later events were not kept", record.droppedEvents)}});
  }
  return events;
}

}  // namespace

double roundedSeconds(double seconds) { return std::round(seconds * 1000.0) / 1000.0; }

std::string huiButtonName(const HUIEvent& event) {
  namespace hui = zar::hui;
  if (event.zone <= hui::zone::lastStrip) {
    static constexpr const char* kStripPorts[] = {"fader touch", "select", "mute",   "solo",
                                                  "auto",        "v-sel",  "insert", "rec/rdy"};
    return fmt::format("{} of strip {}", kStripPorts[event.port % hui::kPortsPerZone], event.zone + 1);
  }
  if (event.zone == hui::zone::channelSelection) {
    static constexpr const char* kPorts[] = {"channel left", "bank left", "channel right", "bank right"};
    return event.port < 4 ? kPorts[event.port] : fmt::format("channel selection port {}", event.port);
  }
  if (event.zone == hui::zone::transport) {
    static constexpr const char* kPorts[] = {"Talkback", "Rewind", "Fast Forward", "Stop", "Play", "Record"};
    if (event.port < 6) return kPorts[event.port];
  }
  return fmt::format("port {} of zone {:#04x}", event.port, event.zone);
}

std::string localTime(const std::string& startedAt) {
  std::tm utc{};
  if (::strptime(startedAt.c_str(), "%Y-%m-%dT%H:%M:%SZ", &utc) == nullptr) return startedAt;
  const std::time_t when = ::timegm(&utc);
  std::tm local{};
  ::localtime_r(&when, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  return text;
}

std::vector<nlohmann::json> passReportEvents(const ZAR_DAWPassRecord& record) {
  std::vector<nlohmann::json> events;
  events.push_back({{"event", "pass"}, {"title", fmt::format("{}, {}", passTitle(record), localTime(record.startedAt))}});
  const auto& cue = record.cue;
  events.push_back({{"event", "note"},
                    {"t", 0.0},
                    {"text", fmt::format("cue {}{}, {} to {} (frames {} to {}); record track {}", cue.cueNumber,
                                         cue.characterPrefix.empty() ? "" : " of " + cue.characterPrefix, cue.startTC,
                                         cue.endTC, cue.inPointFrameIndex, cue.endFrameIndex,
                                         record.recordTrackPosition < 0 ? "none"
                                                                        : trackText(record, record.recordTrackPosition))}});
  for (auto& event : timeline(record)) events.push_back(std::move(event));

  for (const auto& phase : record.phases) {
    nlohmann::json tracks = nlohmann::json::array();
    for (std::size_t i = 0; i < phase.tracks.size() && i < record.tracks.size(); ++i) {
      const auto& shown = phase.tracks[i];
      const auto& track = record.tracks[i];
      nlohmann::json changed = nlohmann::json::array();
      for (const auto& difference : record.differences) {
        if (difference.phase != phase.phase || difference.position != track.position) continue;
        if (difference.text.starts_with("record enable")) changed.push_back("rec");
        if (difference.text.starts_with("mute")) changed.push_back("mute");
        if (difference.text.starts_with("input")) changed.push_back("input");
      }
      tracks.push_back({{"position", track.position},
                        {"name", shownName(track.name)},
                        {"rec", shown.recEnabled},
                        {"mute", shown.muted},
                        {"input", shown.input ? nlohmann::json(*shown.input) : nlohmann::json()},
                        {"changed", std::move(changed)}});
    }
    events.push_back({{"event", "table"},
                      {"pass", ZAR_DAWPassRecord::modeText(record.mode)},
                      {"phase", ZAR_DAWPassRecord::phaseText(phase.phase)},
                      {"title", fmt::format("at the end of the phase {} ({}, cue {})", phaseTitle(phase.phase),
                                            ZAR_DAWPassRecord::modeText(record.mode), cue.cueNumber)},
                      {"tracks", std::move(tracks)}});
    for (const auto& difference : record.differences) {
      if (difference.phase != phase.phase) continue;
      events.push_back({{"event", "difference"}, {"text", fmt::format("{}: {}", trackText(record, difference.position),
                                                                      difference.text)}});
    }
  }
  for (const auto& difference : record.differences) {
    if (difference.phase != 0) continue;
    events.push_back({{"event", "difference"},
                      {"text", difference.position < 0 ? difference.text
                                                       : fmt::format("{}: {}", trackText(record, difference.position),
                                                                     difference.text)}});
  }
  for (const auto& line : record.unjudged) {
    events.push_back(
        {{"event", "note"}, {"t", roundedSeconds(record.endTime - record.startTime)}, {"text", "not judged: " + line}});
  }
  events.push_back({{"event", "verdict"}, {"text", record.verdictText()}, {"asTheModesAsk", record.differences.empty() && record.cutShort.empty()}});
  return events;
}

void printPassReport(const ZAR_DAWPassRecord& record, std::FILE* out) {
  const bool terminal = ::isatty(::fileno(out)) != 0;
  DemoOutput output(DemoOutput::Style{false, terminal, false}, out);
  for (const auto& event : passReportEvents(record)) output.write(event);
}

}  // namespace dawctl
