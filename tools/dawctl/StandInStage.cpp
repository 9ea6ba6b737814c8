#include "StandInStage.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <signal.h>

#include <chrono>
#include <thread>

#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/platform/x11/X11Alerts.h"

namespace dawctl {

namespace {

constexpr const char* kProToolsIdentifier = "com.avid.ProTools";
// How long the stand-in may take to show its edit window on the accessibility bus.
constexpr double kFindTimeout = 10.0;
constexpr double kFindStep = 0.05;
// JACK carries MIDI once per period (1024 frames at 48 kHz, 21 ms, on the dummy driver the
// scripts start); on a busy machine the stand-in's main loop may take much longer to act on it.
constexpr auto kMidiPatience = std::chrono::seconds(3);
constexpr auto kMidiStep = std::chrono::milliseconds(5);

std::string describe(const std::vector<TrackRow>& rows, const std::vector<bool>& aux) {
  std::vector<std::string> tracks;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const auto& row = rows[i];
    tracks.push_back(fmt::format("\"{}\"{}{}{}", row.name, i < aux.size() && aux[i] ? " aux" : "",
                                 row.recEnabled ? " armed" : "", row.muted ? " muted" : ""));
  }
  return tracks.empty() ? std::string("no tracks") : fmt::format("{}", fmt::join(tracks, ", "));
}

}  // namespace

X11Host::Options StandInStage::hostOptions(std::function<void(zar::platform::Platform&)> adjust) {
  X11Host::Options options;
  options.adjust = [adjust = std::move(adjust)](zar::platform::Platform& platform) {
    // The framework's warnings are answered at once: the demo's timeline shows them.
    if (const auto alerts = std::dynamic_pointer_cast<zar::x11::X11Alerts>(platform.alerts)) {
      alerts->setPresenter([](const zar::platform::AlertRequest&) { return zar::platform::AlertResponse{}; });
    }
    adjust(platform);
  };
  return options;
}

StandInStage::StandInStage(std::function<void(zar::platform::Platform&)> adjust, const DemoSession& session,
                           const std::atomic<std::size_t>& midiMessagesSent)
    : _host(hostOptions(std::move(adjust))),
      _midiMessagesSent(midiMessagesSent),
      _pid(findStandIn()),
      _reader(_host.platform()->accessibility, _pid) {
  checkSession(session);
  // The framework isn't enabled yet: whatever the stand-in has counted came from elsewhere.
  if (const auto counted = _reader.received()) _offset = difference(counted->huiMessages);
}

std::vector<TrackRow> StandInStage::rows() {
  letMidiArrive();
  return _reader.rows();
}

std::string StandInStage::transport() {
  letMidiArrive();
  return _reader.transport();
}

std::optional<DemoStage::Received> StandInStage::received() {
  letMidiArrive();
  return _reader.received();
}

void StandInStage::stopPinging() {
  if (::kill(_pid, SIGUSR1) != 0) throw DemoFailure(fmt::format("Pro Tools (pid {}) has gone", _pid));
}

std::int32_t StandInStage::findStandIn() {
  const auto workspace = _host.platform()->workspace;
  const double begin = _host.elapsed();
  for (;;) {
    std::vector<std::int32_t> found;
    for (const auto& application : workspace->runningApplications()) {
      if (application && application->bundleIdentifier == kProToolsIdentifier) {
        found.push_back(application->processIdentifier);
      }
    }
    if (found.size() > 1) {
      throw DemoFailure(fmt::format("{} Pro Tools run on the accessibility bus (pids {}); the demo needs one",
                                    found.size(), fmt::join(found, ", ")));
    }
    if (found.size() == 1) return found.front();
    if (_host.elapsed() - begin >= kFindTimeout) {
      throw DemoFailure(fmt::format("no Pro Tools on the accessibility bus after {:.0f} s; start "
                                    "tools/protools-standin with the options `dawctl demo --standin-options` prints",
                                    kFindTimeout));
    }
    _host.runFor(kFindStep);
  }
}

// The stand-in shows the demo's session as it starts: its name, the tracks in order with their
// kinds, record enable and mute as saved, no input monitor on.
void StandInStage::checkSession(const DemoSession& session) {
  std::vector<TrackRow> wanted;
  std::vector<bool> aux;
  for (const auto& track : session.tracks) {
    wanted.push_back(TrackRow{track.name, track.armed, false, track.muted});
    aux.push_back(track.aux);
  }
  const double begin = _host.elapsed();
  while (!_reader.session() && _host.elapsed() - begin < kFindTimeout) _host.runFor(kFindStep);
  const auto shown = _reader.session();
  if (!shown) {
    throw DemoFailure(fmt::format("Pro Tools (pid {}) shows no edit window after {:.0f} s", _pid, kFindTimeout));
  }
  const auto rows = _reader.rows();
  const auto shownAux = _reader.auxTracks();
  if (*shown == session.name && rows == wanted && shownAux == aux) return;
  throw DemoFailure(fmt::format("Pro Tools shows the session \"{}\" with {}; the demo needs \"{}\" with {}: start the "
                                "stand-in with the options `dawctl demo --standin-options` prints",
                                *shown, describe(rows, shownAux), session.name, describe(wanted, aux)));
}

std::int64_t StandInStage::difference(std::size_t counted) const {
  return static_cast<std::int64_t>(counted) - static_cast<std::int64_t>(_midiMessagesSent.load());
}

void StandInStage::letMidiArrive() {
  // What the framework queued for the HUI link leaves first; the stand-in counts it after that.
  ZAR_MIDISystem::sharedMIDISystem()->waitUntilHUIOutputSent();
  const auto deadline = std::chrono::steady_clock::now() + kMidiPatience;
  for (;;) {
    const auto counted = _reader.received();
    if (!counted) return;  // the stand-in has gone; the read that follows says so
    const std::int64_t ahead = difference(counted->huiMessages);
    if (ahead >= _offset) return;
    if (std::chrono::steady_clock::now() >= deadline) {
      _offset = ahead;  // JACK dropped some (a late period under load): later waits count from here
      return;
    }
    std::this_thread::sleep_for(kMidiStep);
  }
}

}  // namespace dawctl
