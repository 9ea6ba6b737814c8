#include "ZAR_DAWControl/platform/midi/ZAR_HUIDevice.h"

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

ZAR_HUIDevice::ZAR_HUIDevice() : ZAR_HUIDevice(ZAR_MIDISystem::sharedMIDISystem()) {}

ZAR_HUIDevice::ZAR_HUIDevice(std::shared_ptr<ZAR_MIDISystem> system)
    : _system(std::move(system)), _attachment(_system->attachHUIDevice()) {}

bool ZAR_HUIDevice::connected() const { return _system->huiConnected(); }

void ZAR_HUIDevice::keepPortsOpen() { _system->openHUIPort(); }

bool ZAR_HUIDevice::lampsKnown() const { return _system->huiLampsKnown(); }

void ZAR_HUIDevice::setTrackCount(std::int32_t count) {
  std::shared_ptr<ZAR_HUIDeviceDelegate> delegate;
  {
    std::lock_guard lock(_attachment->mutex);
    if (_attachment->trackCount == count) {
      return;
    }
    _attachment->trackCount = count;
    delegate = _attachment->delegate.lock();
  }
  _system->setHUITrackCount(count, delegate);
}

void ZAR_HUIDevice::toggleTrackRecEnabledForTrackIndex(std::int32_t trackIndex) {
  toggle(trackIndex, zar::hui::stripPort::recordReady, "record enable");
}

void ZAR_HUIDevice::toggleTrackMuteForTrackIndex(std::int32_t trackIndex) {
  toggle(trackIndex, zar::hui::stripPort::mute, "mute");
}

std::shared_ptr<ZAR_HUIDeviceDelegate> ZAR_HUIDevice::delegate() const {
  std::lock_guard lock(_attachment->mutex);
  return _attachment->delegate.lock();
}

void ZAR_HUIDevice::setDelegate(std::weak_ptr<ZAR_HUIDeviceDelegate> delegate) {
  std::lock_guard lock(_attachment->mutex);
  _attachment->delegate = std::move(delegate);
}

void ZAR_HUIDevice::toggle(std::int32_t trackIndex, std::uint8_t port, const char* what) {
  if (trackIndex < 0 || trackIndex >= kTrackCount) {
    ZAR_LOG_WARN("No HUI {} toggle for track {}: HUI reaches tracks 0 to {}", what, trackIndex, kTrackCount - 1);
    return;
  }
  if (!_system->pressHUIStripPort(trackIndex, port)) {
    ZAR_LOG_WARN("HUI {} toggle for track {} not sent: the HUI ports are not open", what, trackIndex);
  }
}
