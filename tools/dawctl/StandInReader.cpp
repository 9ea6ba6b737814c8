#include "StandInReader.h"

#include <fmt/format.h>

#include <cstdio>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/track/TrackUI.h"

namespace dawctl {

namespace {

constexpr std::string_view kEditWindowPrefix = "Edit: ";
constexpr std::string_view kTransportTitle = "Transport";
constexpr std::string_view kReceivedTitle = "Received";
constexpr std::string_view kAudioRowEnding = " - Audio Track ";
constexpr std::string_view kAuxRowEnding = " - Aux Track ";

}  // namespace

StandInReader::StandInReader(std::shared_ptr<zar::platform::Accessibility> accessibility, std::int32_t pid)
    : _accessibility(std::move(accessibility)), _pid(pid) {}

std::optional<std::string> StandInReader::session() {
  const auto window = editWindow();
  if (!window) return std::nullopt;
  return text(*window, zar::ax::kTitleAttribute).substr(kEditWindowPrefix.size());
}

std::vector<TrackRow> StandInReader::rows() {
  std::vector<TrackRow> rows;
  for (const auto& child : windowChildren()) {
    if (!isTrackRow(text(child, zar::ax::kTitleAttribute))) continue;
    TrackRow row;
    for (const auto& control : elements(child, zar::ax::kChildrenAttribute)) {
      const std::string title = text(control, zar::ax::kTitleAttribute);
      const std::string value = text(control, zar::ax::kValueAttribute);
      if (title == zar::track::kNameFieldMarker) row.name = value;
      if (title == zar::track::kRecordEnableTitle) row.recEnabled = value == "on";
      if (title == zar::track::kInputMonitorTitle) row.inputMonitoring = value == zar::track::kInputOnValue;
      if (title == zar::track::kMuteTitle) row.muted = value == "on";
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<bool> StandInReader::auxTracks() {
  std::vector<bool> aux;
  for (const auto& child : windowChildren()) {
    const std::string title = text(child, zar::ax::kTitleAttribute);
    if (isTrackRow(title)) aux.push_back(title.ends_with(kAuxRowEnding));
  }
  return aux;
}

std::string StandInReader::transport() { return label(kTransportTitle); }

std::optional<DemoStage::Received> StandInReader::received() {
  const std::string counts = label(kReceivedTitle);
  DemoStage::Received received;
  if (std::sscanf(counts.c_str(), "hui %zu keys %zu mouse %zu", &received.huiMessages, &received.keyboardEvents,
                  &received.mouseEvents) != 3) {
    return std::nullopt;
  }
  return received;
}

std::string StandInReader::label(std::string_view title) {
  for (const auto& child : windowChildren()) {
    if (text(child, zar::ax::kTitleAttribute) == title) return text(child, zar::ax::kValueAttribute);
  }
  return {};
}

std::optional<std::size_t> StandInReader::nameFieldAt(const zar::platform::Point& point) {
  std::size_t index = 0;
  for (const auto& child : windowChildren()) {
    if (!isTrackRow(text(child, zar::ax::kTitleAttribute))) continue;
    for (const auto& control : elements(child, zar::ax::kChildrenAttribute)) {
      if (text(control, zar::ax::kTitleAttribute) != zar::track::kNameFieldMarker) continue;
      zar::platform::AXAttributeValue frame;
      const auto read = _accessibility->copyAttributeValue(control, zar::ax::kFrameAttribute, frame);
      if (read != zar::platform::AXError::success) continue;
      const auto* typed = frame.get<zar::platform::AXTypedValue>();
      const auto* rect = typed != nullptr ? typed->rectValue() : nullptr;
      if (rect != nullptr && zar::platform::pointInRect(point, *rect)) return index;
    }
    ++index;
  }
  return std::nullopt;
}

std::optional<StandInReader::Element> StandInReader::editWindow() {
  const auto application = _accessibility->createApplication(_pid);
  if (!application) return std::nullopt;
  for (const auto& window : elements(application, zar::ax::kWindowsAttribute)) {
    if (text(window, zar::ax::kTitleAttribute).starts_with(kEditWindowPrefix)) return window;
  }
  return std::nullopt;
}

std::vector<StandInReader::Element> StandInReader::windowChildren() {
  const auto window = editWindow();
  if (!window) throw DemoFailure(fmt::format("Pro Tools (pid {}) shows no edit window any more", _pid));
  return elements(*window, zar::ax::kChildrenAttribute);
}

std::vector<StandInReader::Element> StandInReader::elements(const Element& element, const char* attribute) {
  zar::platform::AXAttributeValue value;
  std::vector<Element> found;
  if (_accessibility->copyAttributeValue(element, attribute, value) != zar::platform::AXError::success) return found;
  if (const auto* list = value.get<zar::platform::AXValueList>()) {
    for (const auto& entry : *list) {
      if (const auto* child = entry.get<Element>(); child != nullptr && *child) found.push_back(*child);
    }
  }
  return found;
}

std::string StandInReader::text(const Element& element, const char* attribute) {
  zar::platform::AXAttributeValue value;
  if (_accessibility->copyAttributeValue(element, attribute, value) != zar::platform::AXError::success) return {};
  const auto* string = value.get<std::string>();
  return string != nullptr ? *string : std::string();
}

bool StandInReader::isTrackRow(const std::string& title) {
  return title.ends_with(kAudioRowEnding) || title.ends_with(kAuxRowEnding);
}

}  // namespace dawctl
