#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "ZAR_DAWControl/platform/midi/ZAR_HUIDeviceDelegate.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"
#include "support/SimPlatform.h"

namespace zar::test {

/// The simulated platform with the framework's MIDI system, and Pro Tools' HUI side on its ports
/// made on request.
class HUISimulation : public SimPlatform {
 public:
  std::shared_ptr<sim::SimHUIHost> makeHost(int trackCount, sim::SimHUIHost::Options options = {});
  /// Runs the main run loop for `seconds` of virtual time, then lets the MIDI sent so far arrive.
  void run(double seconds);
  /// Runs in steps of 50 ms of virtual time until `condition` holds; false when `limit` seconds
  /// passed first.
  bool runUntil(const std::function<bool()>& condition, double limit);
  void settle() { settleMIDI(); }
  /// The button presses (not releases) the host received, as (zone, port).
  std::vector<std::pair<int, int>> pressesReceived() const;

  std::shared_ptr<ZAR_MIDISystem> system = ZAR_MIDISystem::sharedMIDISystem();
  std::shared_ptr<sim::SimHUIHost> host;
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
