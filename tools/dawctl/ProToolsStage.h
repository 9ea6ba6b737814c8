#pragma once

#include <memory>

#include "DemoSession.h"
#include "DemoStage.h"
#include "SimulatedHost.h"

namespace dawctl {

/// The simulated Pro Tools the demo plays to, and the one place that sets up the demo's session
/// on the simulated desktop: launched with the session's tracks in their starting states and its
/// HUI peripheral set to the framework's ports. Reports from its track rows and its HUI side.
class ProToolsStage final : public DemoStage {
 public:
  ProToolsStage(const SimulatedHost::Options& options, const DemoSession& session);
  /// Lets the MIDI in flight arrive, then quits Pro Tools.
  ~ProToolsStage() override;
  ProToolsStage(const ProToolsStage&) = delete;
  ProToolsStage& operator=(const ProToolsStage&) = delete;

  const std::shared_ptr<zar::platform::Platform>& platform() const override { return _host.platform(); }
  void runFor(double seconds) override { _host.runFor(seconds); }
  std::vector<TrackRow> rows() override;
  std::string transport() override;
  void stopPinging() override;
  std::optional<Received> received() override;
  std::optional<std::size_t> nameFieldAt(const zar::platform::Point& point) override;

 private:
  SimulatedHost _host;
  std::shared_ptr<zar::sim::SimProTools> _proTools;
};

}  // namespace dawctl
