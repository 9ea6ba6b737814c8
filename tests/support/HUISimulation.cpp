#include "support/HUISimulation.h"

#include <string>

#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"

namespace zar::test {

std::shared_ptr<sim::SimHUIHost> HUISimulation::makeHost(int trackCount, sim::SimHUIHost::Options options) {
  std::vector<std::string> names;
  for (int i = 0; i < trackCount; ++i) names.push_back("Track " + std::to_string(i + 1));
  host = sim::SimHUIHost::create(
      midiPorts, sim::SimHUIHost::defaultPortRequest(ZAR_MIDISystem::kDefaultHUIPortName, "loopback"), names, options);
  settle();
  return host;
}

void HUISimulation::run(double seconds) {
  runFor(seconds);
  settleMIDI();
}

bool HUISimulation::runUntil(const std::function<bool()>& condition, double limit) {
  const double end = clock->now() + limit;
  while (!condition()) {
    if (clock->now() >= end) return false;
    run(0.05);
  }
  return true;
}

std::vector<std::pair<int, int>> HUISimulation::pressesReceived() const {
  hui::HUIDecoder decoder;
  std::vector<std::pair<int, int>> presses;
  for (const auto& message : host->receivedMessages()) {
    for (const auto& event : decoder.decode(message)) {
      if (event.kind == hui::HUIEvent::Kind::switchPort && event.on) presses.emplace_back(event.zone, event.port);
    }
  }
  return presses;
}

void RecordingDelegate::huiDeviceMuteStateChangedForChannel(std::int32_t channel, bool value) {
  std::lock_guard lock(_mutex);
  _reports.push_back(Report{true, channel, value});
}

void RecordingDelegate::huiDeviceRecordStateChangedForChannel(std::int32_t channel, bool value) {
  std::lock_guard lock(_mutex);
  _reports.push_back(Report{false, channel, value});
}

std::vector<RecordingDelegate::Report> RecordingDelegate::reports() const {
  std::lock_guard lock(_mutex);
  return _reports;
}

std::vector<bool> RecordingDelegate::values(bool mute, int channel) const {
  std::lock_guard lock(_mutex);
  std::vector<bool> values;
  for (const auto& report : _reports) {
    if (report.mute == mute && report.channel == channel) values.push_back(report.value);
  }
  return values;
}

void RecordingDelegate::clear() {
  std::lock_guard lock(_mutex);
  _reports.clear();
}

}  // namespace zar::test
