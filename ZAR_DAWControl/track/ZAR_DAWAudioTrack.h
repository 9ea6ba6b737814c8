#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "ZAR_DAWControl/daw/ZAR_DAWTypes.h"
#include "ZAR_DAWControl/platform/AXTypes.h"

class ZAR_DAWAudioTrackMode;

/// One audio or aux track of the DAW's edit window: its row (the track cluster) and the name
/// field, record-enable, input-monitor and mute buttons inside it, its position (`index`, also its
/// HUI channel and its row in the mute/rec matrix), and cached record-enable and mute flags.
///
/// Record enable and mute go through the current application's HUI device and are cached; the
/// device's lamp reports keep the cache in step. Input monitoring is pressed and read back through
/// accessibility. Each setter is one indivisible step, so automation on a host thread and HUI
/// feedback on the MIDI thread may meet on the same track.
class ZAR_DAWAudioTrack {
 public:
  /// Registers the defaults of the three record-track naming preferences (all YES).
  static void registerUserDefaults();

  /// Whether a row's title names an audio or aux track: it holds " audio track", " aux track" or
  /// " auxiliary track" in any letter case ("Dialog 1 - Audio Track ", "Bus auxiliary track"). Any
  /// thread.
  static bool isTrackRowTitle(std::string_view title);
  /// The track's name in its row's title: the title up to the first marker of "- Audio Track",
  /// " audio track", "- Aux Track", " auxiliary track" (in that order) that occurs, to the letter
  /// ("Dialog 1 " of "Dialog 1 - Audio Track "); nothing when none occurs. Any thread.
  static std::optional<std::string> nameInRowTitle(std::string_view title);
  /// A name as `nameInRowTitle` reads it, without the blanks that end it ("Dialog 1" of
  /// "Dialog 1 "): the name as it was typed, and as a person reads it. Any thread.
  static std::string_view withoutTrailingBlanks(std::string_view name);
  /// At most one input-monitor press per this many seconds, across all tracks.
  static constexpr double inputPressInterval = 0.2;

  /// A track of the row; `index` 0 and both flags off until discovery and feedback say otherwise.
  explicit ZAR_DAWAudioTrack(zar::platform::AXUIElementRef trackCluster);

  zar::platform::AXUIElementRef trackCluster() const;
  /// Stores the row, takes `yPos` from its frame (or its position when the frame is zero) and
  /// finds its child elements again.
  void setTrackCluster(zar::platform::AXUIElementRef trackCluster);
  /// Finds the name field and the three buttons among the row's children. Elements the scan doesn't
  /// find keep what they held.
  void findUIElements();

  std::int32_t index() const { return _index.load(); }
  void setIndex(std::int32_t index) { _index.store(index); }
  /// The row's top edge in accessibility coordinates (y grows downward).
  float yPos() const { return _yPos.load(); }
  void setYPos(float yPos) { _yPos.store(yPos); }

  zar::platform::AXUIElementRef nameTextField() const;
  void setNameTextField(zar::platform::AXUIElementRef element);
  zar::platform::AXUIElementRef recButton() const;
  void setRecButton(zar::platform::AXUIElementRef element);
  zar::platform::AXUIElementRef inputButton() const;
  void setInputButton(zar::platform::AXUIElementRef element);
  zar::platform::AXUIElementRef muteButton() const;
  void setMuteButton(zar::platform::AXUIElementRef element);

  /// The cached record-enable state; never reads the DAW.
  bool recEnabled() const { return _recEnabled.load(); }
  /// Caches the state and, when it changed and `sendHUIEvent` is set, toggles the track's record
  /// enable through the current application's HUI device. When the row no longer answers (its
  /// track was deleted, and HUI would toggle whichever track slid into its position), nothing is
  /// toggled, the cache stays as it was and the track remembers it for `takeRowVanished`.
  void setRecEnabled(bool recEnabled, bool sendHUIEvent);
  bool muted() const { return _muted.load(); }
  void setMuted(bool muted, bool sendHUIEvent);
  /// Whether a toggle was refused for a row that no longer answers since the last call.
  bool takeRowVanished() { return _rowVanished.exchange(false); }
  /// Whether the input-monitor button shows "on".
  bool inputEnabled() const;
  /// Presses the input-monitor button when it shows the other state, at most one press per
  /// `inputPressInterval` across all tracks; a request inside that time is dropped. The read and
  /// the press go into the black box of a pass in progress.
  void setInputEnabled(bool inputEnabled);

  /// The modes assigned to this track's position in the manager's matrix.
  std::shared_ptr<ZAR_DAWAudioTrackMode> rehearseMode() const;
  void setRehearseMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode);
  std::shared_ptr<ZAR_DAWAudioTrackMode> recordMode() const;
  void setRecordMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode);
  std::shared_ptr<ZAR_DAWAudioTrackMode> reviewMode() const;
  void setReviewMode(std::shared_ptr<ZAR_DAWAudioTrackMode> mode);

  /// One line for debugging; reads the name from the DAW.
  std::string description() const;
  /// The name as the row's title shows it; empty when it can't be read.
  std::string name() const;
  /// The name that track discovery last read from the row's title (empty until then, or when the
  /// title held no name); never reads the DAW.
  std::string lastReadName() const;
  void setLastReadName(std::string name);
  /// Enters a new name: double-clicks the name field, types the name through the typing script and
  /// puts the pointer (and the host's activation) back. Control characters are left out of the
  /// name. Does nothing (and logs, and tells a pass's black box) for a track whose name field was
  /// never found or no longer answers, rather than clicking blindly at the screen's corner.
  void setName(const std::string& name);

  /// Cached DAW states, published for code outside the class.
  std::atomic<bool> _muted{false};
  std::atomic<bool> _recEnabled{false};

 private:
  /// Whether the row still answers; remembers when it doesn't.
  bool rowAnswers();
  /// What the input-monitor button shows; nothing when it can't be read.
  std::optional<bool> readInputMonitor() const;

  std::atomic<std::int32_t> _index{0};
  std::atomic<float> _yPos{0};
  std::atomic<bool> _rowVanished{false};
  mutable std::mutex _elementMutex;
  zar::platform::AXUIElementRef _trackCluster;
  zar::platform::AXUIElementRef _nameTextField;
  zar::platform::AXUIElementRef _recButton;
  zar::platform::AXUIElementRef _inputButton;
  zar::platform::AXUIElementRef _muteButton;
  std::string _lastReadName;
};

static_assert(ZAR_RegisterUserDefaults<ZAR_DAWAudioTrack>);
