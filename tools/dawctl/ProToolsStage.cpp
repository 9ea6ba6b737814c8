#include "ProToolsStage.h"

namespace dawctl {

using zar::sim::SimHUIHost;
using zar::sim::SimProTools;

ProToolsStage::ProToolsStage(const SimulatedHost::Options& options, const DemoSession& session) : _host(options) {
  SimProTools::Options proTools;
  proTools.sessionName = session.name;
  for (const auto& track : session.tracks) {
    proTools.tracks.push_back({track.name, track.aux ? SimProTools::TrackKind::aux : SimProTools::TrackKind::audio});
  }
  _proTools = _host.launchProTools(std::move(proTools));
  for (std::size_t i = 0; i < session.tracks.size(); ++i) {
    _proTools->setTrackRecEnabled(i, session.tracks[i].armed);
    _proTools->setTrackMuted(i, session.tracks[i].muted);
  }
}

ProToolsStage::~ProToolsStage() {
  _host.settle();
  _host.quitProTools();
}

std::vector<TrackRow> ProToolsStage::rows() {
  _host.settle();
  std::vector<TrackRow> rows;
  for (std::size_t i = 0; i < _proTools->trackCount(); ++i) {
    rows.push_back(TrackRow{_proTools->trackName(i), _proTools->trackRecEnabled(i), _proTools->inputMonitoring(i),
                            _proTools->trackMuted(i)});
  }
  return rows;
}

std::string ProToolsStage::transport() {
  _host.settle();
  const auto hui = _proTools->huiHost();
  switch (hui->transportState()) {
    case SimHUIHost::TransportState::playing:
      return "playing";
    case SimHUIHost::TransportState::recording:
      return "recording";
    case SimHUIHost::TransportState::stopped:
      break;
  }
  return hui->recordArmed() ? "record armed" : "stopped";
}

void ProToolsStage::stopPinging() { _proTools->huiHost()->setPinging(false); }

std::optional<DemoStage::Received> ProToolsStage::received() {
  _host.settle();
  const auto& events = _host.desktop()->eventPoster();
  return Received{_proTools->huiHost()->receivedMessages().size(), events->keyboardEvents().size(),
                  events->mouseEvents().size()};
}

std::optional<std::size_t> ProToolsStage::nameFieldAt(const zar::platform::Point& point) {
  for (std::size_t i = 0; i < _proTools->trackCount(); ++i) {
    const auto field = _proTools->trackNameField(i);
    const auto frame = field ? field->frame() : std::nullopt;
    if (frame && zar::platform::pointInRect(point, *frame)) return i;
  }
  return std::nullopt;
}

}  // namespace dawctl
