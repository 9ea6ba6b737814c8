#pragma once

#include <cstdint>

/// Hears the lamps of Pro Tools' channel strips through a `ZAR_HUIDevice`. Called on the MIDI
/// thread, one call at a time, with the track position (0..63) whose state changed.
class ZAR_HUIDeviceDelegate {
 public:
  virtual ~ZAR_HUIDeviceDelegate() = default;
  virtual void huiDeviceMuteStateChangedForChannel(std::int32_t channel, bool value) = 0;
  virtual void huiDeviceRecordStateChangedForChannel(std::int32_t channel, bool value) = 0;
};
