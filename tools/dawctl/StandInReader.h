#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "DemoStage.h"
#include "ZAR_DAWControl/platform/Accessibility.h"

namespace dawctl {

/// Pro Tools' edit window as its own controls show it, read over the platform's accessibility
/// service, independently of the framework: the session in the window's title, each track row's
/// name field and its record enable, input monitor and mute buttons, the transport label and the
/// counts of what it received. Every call reads afresh; nothing is kept but the process.
class StandInReader {
 public:
  StandInReader(std::shared_ptr<zar::platform::Accessibility> accessibility, std::int32_t pid);

  /// The session of the window titled "Edit: <session>"; nothing while there is none.
  std::optional<std::string> session();
  /// The tracks from top to bottom; a DemoFailure when the edit window can't be read.
  std::vector<TrackRow> rows();
  /// For each track from top to bottom, whether it is an aux track.
  std::vector<bool> auxTracks();
  /// The text of the window's "Transport" label; empty when it has none.
  std::string transport();
  /// What the window's "Received" label counts ("hui N keys N mouse N"); nothing without one.
  std::optional<DemoStage::Received> received();
  /// The track whose name field's frame holds the point, if any.
  std::optional<std::size_t> nameFieldAt(const zar::platform::Point& point);

 private:
  using Element = zar::platform::AXUIElementRef;

  std::optional<Element> editWindow();
  /// The edit window's children; a DemoFailure when there is no edit window.
  std::vector<Element> windowChildren();
  /// The text of the window's child with that title; empty when it has none.
  std::string label(std::string_view title);
  std::vector<Element> elements(const Element& element, const char* attribute);
  std::string text(const Element& element, const char* attribute);
  static bool isTrackRow(const std::string& title);

  const std::shared_ptr<zar::platform::Accessibility> _accessibility;
  const std::int32_t _pid;
};

}  // namespace dawctl
