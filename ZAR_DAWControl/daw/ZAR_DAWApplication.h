#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/daw/ZAR_DAWTypes.h"
#include "ZAR_DAWControl/platform/AXTypes.h"
#include "ZAR_DAWControl/platform/EventPoster.h"
#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "ZAR_DAWControl/platform/RunLoop.h"
#include "ZAR_DAWControl/platform/utility/TCTime.h"
#include "ZAR_DAWControl/platform/Workspace.h"
#include "ZAR_DAWControl/platform/utility/ZAR_Error.h"
#include "ZAR_DAWControl/platform/midi/ZAR_HUIDevice.h"
#include "ZAR_DAWControl/platform/visualevents/ZAR_VisualEvent.h"

class ZAR_DAWAudioTrack;

/// The face of one running DAW process. The manager makes one when it finds a supported DAW; the
/// host reaches the DAW only through it. A driver subclass provides the DAW-specific operations.
///
/// Objects are made by `createWithType` (or a driver's own factory) and are always held by a
/// std::shared_ptr: timers and observations refer to them weakly and never keep them alive.
class ZAR_DAWApplication : public ZAR_HUIDeviceDelegate, public std::enable_shared_from_this<ZAR_DAWApplication> {
 public:
  /// The application object of the driver for `type`, or nothing when the type has no driver or
  /// the driver can't attach to the running application.
  static std::shared_ptr<ZAR_DAWApplication> createWithType(ZAR_DAWApplicationType type,
                                                            zar::platform::RunningApplicationRef runningApplication);

  ZAR_DAWApplication();
  ~ZAR_DAWApplication() override;
  ZAR_DAWApplication(const ZAR_DAWApplication&) = delete;
  ZAR_DAWApplication& operator=(const ZAR_DAWApplication&) = delete;

  /// The base initialisation: UI refresh timer, invalid last selection, connected, HUI device,
  /// process identity, timing observation, keyboard event source. A driver runs it first.
  /// Returns false when the object can't be used (it is then dropped).
  virtual bool initWithRunningApplication(zar::platform::RunningApplicationRef runningApplication);

  // Class operations.

  /// The virtual key codes of the ten digits of the main keyboard, built once.
  static const std::map<std::string, std::int32_t>& keyCodeMap();
  /// Registers the defaults of "ZAR_DAWSelectEventOnListSelection" and
  /// "ZAR_DAWAssignRecordTracksAutomatically" (both YES).
  static void registerUserDefaults();
  /// Warns that no DAW is reachable, unless the user ticked "Don't show this again" before.
  static void showDAWNotAvailableWarning();
  /// Warns that a record pass can't start without a record track; shown at every call.
  static void showNoRecTrackSelectedWarning();

  // Properties; each is read and written indivisibly.

  ZAR_DAWApplicationType type() const;
  void setType(ZAR_DAWApplicationType type);
  std::int32_t processIdentifier() const;
  zar::platform::ProcessSerialNumber processSerialNumber() const;
  zar::platform::RunningApplicationRef runningApplication() const;
  std::optional<std::string> name() const;
  void setName(std::optional<std::string> name);
  std::optional<std::string> versionString() const;
  void setVersionString(std::optional<std::string> version);
  std::int32_t majorVersion() const;
  void setMajorVersion(std::int32_t version);
  std::optional<std::string> currentProject() const;
  void setCurrentProject(std::optional<std::string> project);
  std::shared_ptr<ZAR_HUIDevice> huiDevice() const;
  /// Whether the DAW still answers; a driver replaces this with a live check.
  virtual bool connected();
  void setConnected(bool connected);
  /// The DAW's tracks in DAW order; a track's position is its HUI channel. A copy of the list.
  std::vector<std::shared_ptr<ZAR_DAWAudioTrack>> audioTracks() const;
  /// Also tells the HUI device how many tracks the session has.
  void setAudioTracks(std::vector<std::shared_ptr<ZAR_DAWAudioTrack>> tracks);
  /// The tracks whose record mode records during the cue, in track order; built at every call.
  std::vector<std::shared_ptr<ZAR_DAWAudioTrack>> recordTracks() const;
  zar::platform::AXUIElementRef appRootElement() const;
  void setAppRootElement(zar::platform::AXUIElementRef element);
  TCTime lastSelectionStartTC() const;
  void setLastSelectionStartTC(TCTime tc);
  TCTime lastSelectionEndTC() const;
  void setLastSelectionEndTC(TCTime tc);
  zar::platform::TimerRef uiRefreshTimer() const;
  /// The cue of the pass in progress; empty when none runs or the host let it go.
  std::shared_ptr<ZAR_VisualEvent> currentEvent() const;
  ZAR_DAWMode currentMode() const;
  zar::platform::EventSourceRef eventSource() const;

  // Selection timecode (the driver's).

  /// The edit-selection start as the DAW shows it. The base version reports "Not implemented".
  virtual std::optional<std::string> selectionStartTC(ZAR_Error* error = nullptr);
  virtual std::optional<std::string> selectionEndTC(ZAR_Error* error = nullptr);
  virtual std::optional<ZAR_Error> setSelectionStartTC(const std::optional<std::string>& tc);
  virtual std::optional<ZAR_Error> setSelectionEndTC(const std::optional<std::string>& tc);

  // Passes and transport. A driver's versions call these for the bookkeeping.

  virtual void rehearseWithEvent(const std::shared_ptr<ZAR_VisualEvent>& event);
  /// Also posts "ZAR_DAWApplicationRecordStarted" while the access lock is held.
  virtual void recordWithEvent(const std::shared_ptr<ZAR_VisualEvent>& event);
  virtual void reviewWithEvent(const std::shared_ptr<ZAR_VisualEvent>& event);
  virtual void stopPlayback();
  virtual void togglePlayback();
  /// Always NO.
  bool playing() const;
  /// Applies the pass's track states for the host's playhead frame. Every driver provides it.
  virtual void updateDAWTrackStatesForFrameIndex(std::int64_t frameIndex);

  // Periodic UI refresh (every 3.0 s on the main thread).

  void pausePeriodicUIRefreshes();
  void resumePeriodicUIRefreshes();
  /// One refresh tick. Every driver provides it.
  virtual void onUIRefreshTimerRanOut(const zar::platform::TimerRef& timer);

  // HUI.

  /// Replaces the HUI device with a new one whose delegate is this application.
  void refreshHUI();
  /// HUI feedback: the DAW's mute (record-enable) lamp of the track at position `channel` became
  /// `value`; the track's cached flag follows without a toggle going back.
  void huiDeviceMuteStateChangedForChannel(std::int32_t channel, bool value) override;
  void huiDeviceRecordStateChangedForChannel(std::int32_t channel, bool value) override;

  /// Reacts to the host's cue timing change by selecting the cue's range, when the host wants it.
  void onEventTimingDidChange(const zar::platform::Notification& notification);

  /// Types text into the DAW: as key events posted to its process (only digits and Return on DAW
  /// versions below 11), or through the typing script into the frontmost application. Returns
  /// when the typing is done; blocks 30 ms per keystroke.
  void sendTextToDAWApplication(const std::string& text, bool useAppleScript);

 protected:
  /// Keystroke pause.
  static constexpr double keystrokePause = 0.030;

  /// A warning with an "OK" button and a "Don't show this again" box: nothing when the preference
  /// `suppressionKey` is YES; otherwise shown on the main thread, and the box's state is stored
  /// under the key when it closes.
  static void showSuppressibleWarning(const std::string& messageText, const std::string& informativeText,
                                      const char* suppressionKey);

 private:
  zar::platform::TimerRef makeUIRefreshTimer();

  mutable std::mutex _propertyMutex;
  ZAR_DAWApplicationType _type = ZAR_DAWApplicationTypeProTools;
  std::int32_t _processIdentifier = 0;
  zar::platform::ProcessSerialNumber _processSerialNumber;
  zar::platform::RunningApplicationRef _runningApplication;
  std::optional<std::string> _name;
  std::optional<std::string> _versionString;
  std::int32_t _majorVersion = 0;
  std::optional<std::string> _currentProject;
  std::shared_ptr<ZAR_HUIDevice> _huiDevice;
  bool _connected = false;
  std::vector<std::shared_ptr<ZAR_DAWAudioTrack>> _audioTracks;
  zar::platform::AXUIElementRef _appRootElement;
  TCTime _lastSelectionStartTC = TCTimeInvalid;
  TCTime _lastSelectionEndTC = TCTimeInvalid;
  zar::platform::TimerRef _uiRefreshTimer;
  std::weak_ptr<ZAR_VisualEvent> _currentEvent;
  ZAR_DAWMode _currentMode = ZAR_DAWModeRehearse;
  zar::platform::EventSourceRef _eventSource;

  /// Makes the pair of changes of the current cue and mode one step. Not re-entrant: an observer
  /// of "ZAR_DAWApplicationRecordStarted" runs under it.
  std::mutex _accessLock;
  zar::platform::NotificationObservation _timingObservation;
};

static_assert(ZAR_RegisterUserDefaults<ZAR_DAWApplication>);
