#pragma once

#include <nlohmann/json.hpp>

#include <cstdio>
#include <string>

namespace dawctl {

/// Writes the demo's events: one JSON object per line for machines, or lines a stage engineer
/// reads (a timeline with time stamps, section headings, tables of the tracks), with colour and a
/// live line that shows what is going on between lines. Used from one thread.
class DemoOutput {
 public:
  struct Style {
    bool json = false;
    /// ANSI colours.
    bool colour = false;
    /// A status line that is rewritten in place (a terminal only).
    bool live = false;
  };

  explicit DemoOutput(Style style, std::FILE* out = stdout);

  /// Writes one event: an object with at least "event" (its kind) and "t" (seconds since start).
  void write(const nlohmann::json& event);
  /// Shows `text` on the live line until the next event or live text; nothing without one.
  void live(const std::string& text);
  /// Clears the live line.
  void endLive();

 private:
  std::string render(const nlohmann::json& event) const;
  std::string table(const nlohmann::json& event) const;
  std::string session(const nlohmann::json& event) const;
  std::string paint(const std::string& text, const char* code) const;

  const Style _style;
  std::FILE* const _out;
  bool _liveShown = false;
};

}  // namespace dawctl
