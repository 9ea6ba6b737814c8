#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "DemoSession.h"
#include "DemoStage.h"
#include "StandInReader.h"
#include "X11Host.h"

namespace dawctl {

/// The stand-in Pro Tools (tools/protools-standin) on the X11 desktop of $DISPLAY, which runs on
/// its own: the stage finds it on the accessibility bus, checks that it was started with the
/// demo's session (`DemoSession::standInOptions`) and reads it with a `StandInReader`. HUI goes
/// over JACK as `X11Host` sets it up; Pro Tools stops pinging when sent SIGUSR1.
class StandInStage final : public DemoStage {
 public:
  /// `lastMidiSent`: the platform clock's time of the framework's last MIDI message, which the
  /// stand-in has acted on once JACK has carried it. A DemoFailure when the stand-in isn't there
  /// or shows another session.
  StandInStage(std::function<void(zar::platform::Platform&)> adjust, const DemoSession& session,
               const std::atomic<double>& lastMidiSent);

  const std::shared_ptr<zar::platform::Platform>& platform() const override { return _host.platform(); }
  void runFor(double seconds) override { _host.runFor(seconds); }
  std::vector<TrackRow> rows() override;
  std::string transport() override;
  void stopPinging() override;
  std::optional<Received> received() override;
  std::optional<std::size_t> nameFieldAt(const zar::platform::Point& point) override {
    return _reader.nameFieldAt(point);
  }

 private:
  static X11Host::Options hostOptions(std::function<void(zar::platform::Platform&)> adjust);
  /// The pid of the one Pro Tools on the accessibility bus, waited for.
  std::int32_t findStandIn();
  void checkSession(const DemoSession& session);
  /// Waits until the framework's last MIDI message has had time to reach the stand-in.
  void letMidiArrive() const;

  X11Host _host;
  const std::atomic<double>& _lastMidiSent;
  const std::int32_t _pid;
  StandInReader _reader;
};

}  // namespace dawctl
