#include "DemoOutput.h"

#include <fmt/format.h>

#include <algorithm>

namespace dawctl {

namespace {

constexpr const char* kBold = "1";
constexpr const char* kChanged = "1;33";
constexpr const char* kWrong = "1;31";
constexpr const char* kRight = "32";
constexpr const char* kFaint = "2";
// Continuation lines start under the text of a timeline line ("[  12.345] ").
constexpr const char* kIndent = "           ";

std::string text(const nlohmann::json& event, const char* key) {
  const auto it = event.find(key);
  return it != event.end() && it->is_string() ? it->get<std::string>() : std::string();
}

}  // namespace

DemoOutput::DemoOutput(Style style, std::FILE* out) : _style(style), _out(out) {}

std::string DemoOutput::paint(const std::string& text, const char* code) const {
  return _style.colour ? fmt::format("\x1b[{}m{}\x1b[0m", code, text) : text;
}

void DemoOutput::write(const nlohmann::json& event) {
  endLive();
  if (_style.json) {
    fmt::print(_out, "{}\n", event.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
  } else {
    fmt::print(_out, "{}\n", render(event));
  }
  std::fflush(_out);
}

void DemoOutput::live(const std::string& text) {
  if (!_style.live) return;
  fmt::print(_out, "\r\x1b[K{}", paint(text.substr(0, 120), kFaint));
  std::fflush(_out);
  _liveShown = true;
}

void DemoOutput::endLive() {
  if (!_liveShown) return;
  fmt::print(_out, "\r\x1b[K");
  _liveShown = false;
}

std::string DemoOutput::render(const nlohmann::json& event) const {
  const std::string kind = text(event, "event");
  const std::string stamp = paint(fmt::format("[{:8.3f}]", event.value("t", 0.0)), kFaint);
  const auto line = [&](const std::string& body) { return fmt::format("{} {}", stamp, body); };

  if (kind == "start") {
    const std::string settings = text(event, "settings");
    return paint(fmt::format("dawctl demo: the road of one take against {} ({}, {} fps, {})",
                             text(event, "proTools"), text(event, "clock"), event.value("fps", 0),
                             settings == "demo" ? "the demo's modes" : "the modes of " + settings),
                 kBold);
  }
  if (kind == "session") return session(event);
  if (kind == "pass") return "\n" + paint(fmt::format("== {}", text(event, "title")), kBold);
  if (kind == "table") return table(event);
  if (kind == "notification") {
    const std::string detail = text(event, "detail");
    return line(detail.empty() ? text(event, "name") : fmt::format("{}: {}", text(event, "name"), detail));
  }
  if (kind == "hui") {
    if (text(event, "what") == "ping answered") return line("HUI: Pro Tools pinged, the framework answered");
    const int count = event.value("count", 1);
    return line(fmt::format("HUI: {} pressed{}", text(event, "button"), count > 1 ? fmt::format(" x{}", count) : ""));
  }
  if (kind == "pressed") {
    const std::string track = text(event, "track");
    return line(track.empty() ? fmt::format("pressed {}", text(event, "element"))
                              : fmt::format("pressed {} of {}", text(event, "element"), track));
  }
  if (kind == "typed") {
    return line(fmt::format("typed {} and Return into {} ({:.2f} s)", text(event, "text"), text(event, "into"),
                            event.value("seconds", 0.0)));
  }
  if (kind == "double-click") return line(fmt::format("double-clicked {}", text(event, "target")));
  if (kind == "script") return line("ran the typing script: the new name and Return, into the frontmost application");
  if (kind == "warning") {
    return line(paint(fmt::format("warning shown: \"{}\"", text(event, "message")), kChanged)) + "\n" + kIndent +
           paint(text(event, "informative"), kFaint);
  }
  if (kind == "playing") {
    return line(fmt::format("picture plays {} to {} ({} frames at {} fps); the framework gets every frame",
                            text(event, "from"), text(event, "to"), event.value("frames", 0), event.value("fps", 0)));
  }
  if (kind == "renamed") {
    return line(paint(fmt::format("record track \"{}\" renamed \"{}\"", text(event, "from"), text(event, "to")),
                      kChanged));
  }
  if (kind == "takes") {
    return line(fmt::format("cue {} has {} recorded take{}", text(event, "cue"), event.value("count", 0),
                            event.value("count", 0) == 1 ? "" : "s"));
  }
  if (kind == "received") {
    const int hui = event.value("hui", 0);
    const int keys = event.value("keys", 0);
    const int mouse = event.value("mouse", 0);
    if (hui + keys + mouse == 0) return line(paint("Pro Tools received nothing during the pass", kChanged));
    return line(fmt::format("Pro Tools received {} HUI messages, {} key events and {} mouse events during the pass",
                            hui, keys, mouse));
  }
  if (kind == "difference") return kIndent + paint("differs: " + text(event, "text"), kWrong);
  if (kind == "note") return line(text(event, "text"));
  if (kind == "verdict") {
    return kIndent + paint("verdict: " + text(event, "text"), event.value("asTheModesAsk", false) ? kRight : kWrong);
  }
  if (kind == "result") {
    const int differences = event.value("differences", 0);
    const std::string summary =
        fmt::format("{} passes, {} takes recorded, {} phase checks: ", event.value("passes", 0), event.value("takes", 0),
                    event.value("checks", 0));
    return "\n" + (differences == 0
                       ? paint(summary + "Pro Tools showed what the modes ask at every phase", kRight)
                       : paint(summary + fmt::format("{} difference{} from what the modes ask", differences,
                                                     differences == 1 ? "" : "s"),
                               kWrong));
  }
  return line(event.dump());
}

std::string DemoOutput::session(const nlohmann::json& event) const {
  const auto& cue = event.at("cue");
  std::string out = fmt::format("Session \"{}\"; cue {} of {}, {} to {}; record track {}\nModes (before / during / after "
                                "the cue):",
                                text(event, "name"), text(cue, "number"), text(cue, "character"), text(cue, "start"),
                                text(cue, "end"), text(cue, "recordTrack").empty() ? "none" : text(cue, "recordTrack"));
  for (const auto& mode : event.at("modes")) {
    out += fmt::format("\n  {:<22} {} / {} / {}", text(mode, "name"), text(mode, "before"), text(mode, "during"),
                       text(mode, "after"));
  }
  std::size_t width = 5;
  for (const auto& track : event.at("tracks")) width = std::max(width, text(track, "name").size());
  out += "\nTracks and their modes (positions as dawctl settings counts them; HUI strips count from 1):";
  out += "\n" + paint(fmt::format("  {:<4} {:<{}}  {:<22} {:<22} {}", "pos", "track", width, "rehearse", "record",
                                  "review"),
                      kBold);
  for (const auto& track : event.at("tracks")) {
    out += fmt::format("\n  {:<4} {:<{}}  {:<22} {:<22} {}", track.value("position", 0), text(track, "name"), width,
                       text(track, "rehearse"), text(track, "record"), text(track, "review"));
  }
  return out;
}

std::string DemoOutput::table(const nlohmann::json& event) const {
  std::size_t width = 5;
  for (const auto& track : event.at("tracks")) width = std::max(width, text(track, "name").size());
  const std::string transport = text(event, "transport");
  std::string out = kIndent + paint(fmt::format("Pro Tools {}{}", text(event, "title"),
                                                transport.empty() ? "" : " (transport " + transport + ")"),
                                    kBold);
  out += "\n" + std::string(kIndent) + fmt::format("{:<4} {:<{}}  {:<5} {:<5} {}", "pos", "track", width + 1, "rec",
                                                   "input", "mute");
  for (const auto& track : event.at("tracks")) {
    const auto& changed = track.at("changed");
    const auto cell = [&](const char* key, const std::string& shown, std::size_t cellWidth) {
      const bool marked = std::find(changed.begin(), changed.end(), key) != changed.end();
      const std::string padded = fmt::format("{:<{}}", shown + (marked ? "*" : ""), cellWidth);
      return marked ? paint(padded, kChanged) : padded;
    };
    // An input monitor the framework never read is unknown.
    const auto onOff = [&](const char* key) {
      return !track.contains(key) || track.at(key).is_null() ? "?" : track.value(key, false) ? "on" : "-";
    };
    out += "\n" + std::string(kIndent) +
           fmt::format("{:<4} {}  {} {} {}", track.value("position", 0), cell("name", text(track, "name"), width + 1),
                       cell("rec", onOff("rec"), 5), cell("input", onOff("input"), 5), cell("mute", onOff("mute"), 4));
  }
  return out;
}

}  // namespace dawctl
