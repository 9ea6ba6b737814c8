#pragma once

#include <cstdint>
#include <memory>

#include "ZAR_DAWControl/platform/midi/ZAR_HUIDeviceDelegate.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

/// The framework as a HUI control surface of Pro Tools, on the MIDI system's HUI ports. Tracks
/// are addressed by their position 0..63 in the edit window; the device brings the bank that
/// shows a track into view before it presses the track's strip, and reports the record-enable and
/// mute lamps of the tracks to its delegate with the track position. From the moment Pro Tools
/// first talks HUI it learns which bank is in view and brings every bank of the session into view
/// once, so the lamps of all tracks are known, not only of those the framework pressed.
/// Thread-safe.
class ZAR_HUIDevice {
 public:
  static constexpr std::int32_t kTrackCount = zar::hui::kTrackCount;

  /// A device on the shared MIDI system.
  ZAR_HUIDevice();
  explicit ZAR_HUIDevice(std::shared_ptr<ZAR_MIDISystem> system);

  /// Pro Tools has pinged the HUI ports within the last two seconds, also before this device
  /// was made.
  bool connected() const;
  /// Flips the record enable of the track at `trackIndex`; positions outside 0..63 are ignored.
  /// The press (with the bank moves before it) leaves at the pace of the HUI link, so it may reach
  /// Pro Tools after this returns (see `ZAR_MIDISystem`).
  void toggleTrackRecEnabledForTrackIndex(std::int32_t trackIndex);
  /// Flips the mute of the track at `trackIndex`; positions outside 0..63 are ignored.
  void toggleTrackMuteForTrackIndex(std::int32_t trackIndex);
  /// How many tracks the session shows on HUI (the framework's audio and aux tracks). A new count
  /// lets the device survey the banks that hold them, and tells the delegate every lamp known, so a
  /// delegate with new tracks learns their state at once. The same count again does nothing.
  void setTrackCount(std::int32_t count);
  /// Opens the HUI ports again when they closed or stopped working (their MIDI server was
  /// restarted); nothing while they work.
  void keepPortsOpen();
  /// Connected, and the lamps of every track of the session are known: a pass started now finds
  /// the tracks' record enable and mute as Pro Tools shows them.
  bool lampsKnown() const;

  /// Held weakly; called on the MIDI thread.
  std::shared_ptr<ZAR_HUIDeviceDelegate> delegate() const;
  void setDelegate(std::weak_ptr<ZAR_HUIDeviceDelegate> delegate);

 private:
  void toggle(std::int32_t trackIndex, std::uint8_t port, const char* what);

  std::shared_ptr<ZAR_MIDISystem> _system;
  std::shared_ptr<ZAR_MIDISystem::HUIAttachment> _attachment;
};
