#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/Geometry.h"
#include "ZAR_DAWControl/platform/Platform.h"

namespace dawctl {

/// A track as Pro Tools shows it in its edit window.
struct TrackRow {
  std::string name;
  bool recEnabled = false;
  bool inputMonitoring = false;
  bool muted = false;
  friend bool operator==(const TrackRow&, const TrackRow&) = default;
};

/// The demo can't go on (Pro Tools not found or not as the demo needs it, unreadable settings):
/// what happened.
struct DemoFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Where the demo plays: a desktop with the framework's platform on it and Pro Tools with the
/// demo's session. Everything it reports is read from Pro Tools itself, never from the framework.
/// The script calls it on the main thread; `rows` and `nameFieldAt` also from the thread of a
/// framework call the demo's tap reports.
class DemoStage {
 public:
  /// What Pro Tools has received so far: HUI messages from the surface, keyboard and mouse events.
  struct Received {
    std::size_t huiMessages = 0;
    std::size_t keyboardEvents = 0;
    std::size_t mouseEvents = 0;
  };

  virtual ~DemoStage() = default;

  /// The framework's platform, installed.
  virtual const std::shared_ptr<zar::platform::Platform>& platform() const = 0;
  /// Runs the main loop for that many seconds.
  virtual void runFor(double seconds) = 0;
  /// The tracks from top to bottom, once what the framework sent so far has arrived.
  virtual std::vector<TrackRow> rows() = 0;
  /// "stopped", "playing", "recording", or "record armed" (Record pressed, waiting for Play).
  virtual std::string transport() = 0;
  /// Pro Tools stops pinging the HUI ports (HUI unselected in its peripherals).
  virtual void stopPinging() = 0;
  /// What Pro Tools has received so far, where the stage can count it.
  virtual std::optional<Received> received() = 0;
  /// The track whose name field lies under the point, if any.
  virtual std::optional<std::size_t> nameFieldAt(const zar::platform::Point& point) = 0;
};

}  // namespace dawctl
