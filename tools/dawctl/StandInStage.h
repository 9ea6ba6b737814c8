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
  /// `midiMessagesSent`: how many MIDI messages the framework has sent; the stand-in has acted on
  /// them once its count of HUI messages received has come as far. A DemoFailure when the stand-in isn't there
  /// or shows another session.
  StandInStage(std::function<void(zar::platform::Platform&)> adjust, const DemoSession& session,
               const std::atomic<std::size_t>& midiMessagesSent);

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
  /// Waits (bounded) until the stand-in has received every MIDI message the framework has sent.
  void letMidiArrive();
  /// The stand-in's count of HUI messages received less the framework's count of those sent.
  std::int64_t difference(std::size_t counted) const;

  X11Host _host;
  const std::atomic<std::size_t>& _midiMessagesSent;
  const std::int32_t _pid;
  StandInReader _reader;
  // The stand-in's count of HUI messages less the framework's when all have arrived: those it had
  // before the demo, less those JACK lost (found when a wait runs out).
  std::int64_t _offset = 0;
};

}  // namespace dawctl
