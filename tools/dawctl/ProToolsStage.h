#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DemoSession.h"
#include "SimulatedHost.h"
#include "ZAR_DAWControl/platform/Geometry.h"

namespace dawctl {

/// A track as Pro Tools shows it in its edit window.
struct TrackRow {
  std::string name;
  bool recEnabled = false;
  bool inputMonitoring = false;
  bool muted = false;
  friend bool operator==(const TrackRow&, const TrackRow&) = default;
};

/// The Pro Tools the demo plays to, and the one place that sets up the demo's session: launched
/// on the host's desktop with the session's tracks in their starting states and its HUI
/// peripheral set to the framework's ports. Everything it reports is read from Pro Tools itself
/// (its track rows and its HUI side), never from the framework.
class ProToolsStage {
 public:
  ProToolsStage(SimulatedHost& host, const DemoSession& session);
  /// Lets the MIDI in flight arrive, then quits Pro Tools.
  ~ProToolsStage();
  ProToolsStage(const ProToolsStage&) = delete;
  ProToolsStage& operator=(const ProToolsStage&) = delete;

  /// The tracks from top to bottom, once what the framework sent so far has arrived.
  std::vector<TrackRow> rows() const;
  /// "stopped", "playing", "recording", or "record armed" (Record pressed, waiting for Play).
  std::string transport() const;
  /// Pro Tools pings the HUI ports (HUI selected in its peripherals) or stops pinging.
  void setPinging(bool pinging);
  /// What Pro Tools has received so far: HUI messages from the surface, keyboard and mouse events.
  struct Received {
    std::size_t huiMessages = 0;
    std::size_t keyboardEvents = 0;
    std::size_t mouseEvents = 0;
  };
  Received received() const;
  /// The track whose name field lies under the point, if any.
  std::optional<std::size_t> nameFieldAt(const zar::platform::Point& point) const;

 private:
  SimulatedHost& _host;
  std::shared_ptr<zar::sim::SimProTools> _proTools;
};

}  // namespace dawctl
