#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUIDeviceDelegate.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIEvent.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/sim/LoopbackMidiPorts.h"
#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace zar::test {

/// A platform on virtual time with loopback MIDI, installed for the lifetime of the object, and
/// a MIDI system of the framework on it. The simulated Pro Tools is made on request.
class HUISimulation {
 public:
  HUISimulation();
  ~HUISimulation();

  std::shared_ptr<sim::SimHUIHost> makeHost(int trackCount, sim::SimHUIHost::Options options = {});
  /// Runs the main run loop for `seconds` of virtual time, MIDI delivered after every timer.
  void run(double seconds);
  /// Runs in steps of 50 ms of virtual time until `condition` holds; false when `limit` seconds
  /// passed first.
  bool runUntil(const std::function<bool()>& condition, double limit);
  /// Waits until all MIDI sent so far is delivered, the framework's HUI output included (time
  /// moves on through its departures).
  void settle();
  /// The button presses (not releases) the host received, as (zone, port).
  std::vector<std::pair<int, int>> pressesReceived() const;

  std::shared_ptr<sim::VirtualClock> clock;
  std::shared_ptr<native::MainRunLoop> runLoop;
  std::shared_ptr<sim::LoopbackMidiPorts> loopback;
  std::shared_ptr<ZAR_MIDISystem> system;
  std::shared_ptr<sim::SimHUIHost> host;

 private:
  std::shared_ptr<const platform::Platform> _previous;
};

/// Records what a HUI device reports.
class RecordingDelegate final : public ZAR_HUIDeviceDelegate {
 public:
  struct Report {
    bool mute = false;
    int channel = 0;
    bool value = false;
    friend bool operator==(const Report&, const Report&) = default;
  };

  void huiDeviceMuteStateChangedForChannel(std::int32_t channel, bool value) override;
  void huiDeviceRecordStateChangedForChannel(std::int32_t channel, bool value) override;
  std::vector<Report> reports() const;
  /// Reports for one channel and lamp, in order.
  std::vector<bool> values(bool mute, int channel) const;
  void clear();

 private:
  mutable std::mutex _mutex;
  std::vector<Report> _reports;
};

}  // namespace zar::test
