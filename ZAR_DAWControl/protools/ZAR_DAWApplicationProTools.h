#pragma once

#include <atomic>
#include <optional>

#include "ZAR_DAWControl/daw/ZAR_DAWApplication.h"

/// The driver of one running Pro Tools: it attaches to the edit window's counters through the
/// accessibility interface and drives the transport and tracks over HUI.
///
/// The manager makes it (`ZAR_DAWApplication::createWithType`) and a host reaches it as the
/// manager's `currentApplication()`. Threads: the passes, the transport, the frame updates and
/// `updateAudioTracksForMode` come from the host's thread for passes, one at a time, as in
/// ZAR_DAWControl.h; everything else may come from any thread. A call that reads Pro Tools'
/// accessibility tree blocks for those reads (a few per call, a row's worth per track when the
/// tracks are found; on the real desktop most are answered from the mirror without a round trip).
class ZAR_DAWApplicationProTools : public ZAR_DAWApplication {
 public:
  /// Error codes of this driver (domain ZAR_ErrorDomain).
  static constexpr int communicationDownErrorCode = 1;
  static constexpr int timecodeFormatWrongErrorCode = 2;

  /// The number by which two selection points compare: HHMMSSFF as one integer (23:59:59:29 gives
  /// 23595929); subframes take no part. Any thread.
  static std::int32_t comparisonValue(const TCTime& tc);

  /// Attaches to Pro Tools' edit window and its selection fields; false when either field can't be
  /// found (no edit window, no session, no counters). The manager calls it on its discovery thread.
  bool initWithRunningApplication(zar::platform::RunningApplicationRef runningApplication) override;

  // Selection timecode.

  /// The start counter's text; nothing (and, with a slot, error 1 or 2) when Pro Tools doesn't
  /// answer or its counters don't show timecode. Any thread; a read that fails waits 50 ms for a
  /// second one.
  std::optional<std::string> selectionStartTC(ZAR_Error* error = nullptr) override;
  std::optional<std::string> selectionEndTC(ZAR_Error* error = nullptr) override;
  /// Presses the start counter and types the text's digits and Return, unless it shows the text.
  /// A text (or none) that doesn't read as timecode is not typed; the miss is logged. The thread
  /// for passes (keystrokes typed from two threads would interleave); 30 ms per keystroke.
  std::optional<ZAR_Error> setSelectionStartTC(const std::optional<std::string>& tc) override;
  std::optional<ZAR_Error> setSelectionEndTC(const std::optional<std::string>& tc) override;
  /// Rediscovers the tracks, posts "ZAR_DAWApplicationTrackNamesChanged" and, when the selection
  /// moved, "ZAR_DAWApplicationSelectionChanged". The UI refresh timer calls it on the main thread.
  void onUIRefreshTimerRanOut(const zar::platform::TimerRef& timer) override;

  // Transport over HUI.

  void rehearseWithEvent(const std::shared_ptr<ZAR_VisualEvent>& event) override;
  /// Also names the record track from the naming preferences and counts the take.
  void recordWithEvent(const std::shared_ptr<ZAR_VisualEvent>& event) override;
  void reviewWithEvent(const std::shared_ptr<ZAR_VisualEvent>& event) override;
  /// Also ends the pass's black box.
  void stopPlayback() override;
  /// One space-bar key-down to Pro Tools.
  void togglePlayback() override;

  // Tracks.

  /// Reads Pro Tools' audio and aux tracks from the edit window, reusing the track objects by
  /// position, sorted from top to bottom and numbered from 0. Any thread: the refresh tick (main
  /// thread) and the frame updates (thread for passes) call it too, and the last to finish sets
  /// `audioTracks`.
  void findAudioTracks();
  /// Applies the pass's states for the frame; first finds the tracks again when the edit window
  /// has more or fewer children than at the last discovery.
  void updateDAWTrackStatesForFrameIndex(std::int64_t frameIndex) override;
  /// Puts every track into its state for `phase` by its mode for the operation `mode`. A track
  /// whose row no longer answers is not toggled, and the tracks are found again afterwards. The
  /// thread for passes; HUI presses and input-monitor presses only, no waiting.
  void updateAudioTracksForMode(ZAR_DAWMode mode, ZAR_DAWEventPhase phase);

  /// Live: YES exactly when the selection fields are set and the start field still answers (a
  /// failed read is confirmed by a second one 50 ms later). Any thread.
  bool connected() override;
  /// Nothing while Pro Tools answers; otherwise stores `connected` NO and gives error code 1. Any
  /// thread.
  std::optional<ZAR_Error> checkIfCommunicationIsDown();
  /// Error code 2 when the start counter doesn't show timecode. Any thread.
  std::optional<ZAR_Error> checkIfTimecodeFormatIsWrong();
  /// Warns that Pro Tools doesn't talk HUI with the framework, unless the user suppressed it. Any
  /// thread: the warning shows on the main thread and is never waited for.
  void showHUIUnavailableAlert();

  // The elements of the edit window, found from the top (any thread; one read of the children per
  // call). Each gives nothing when its parent is nothing or holds no such child.

  /// The first window whose title contains "Edit:"; sets `currentProject` from its title.
  zar::platform::AXUIElementRef findEditWindowFromWindowArray(const std::optional<zar::platform::AXAttributeValue>& windows);
  zar::platform::AXUIElementRef findCounterDisplayClusterFromEditWindow(const zar::platform::AXUIElementRef& editWindow);
  zar::platform::AXUIElementRef findStartTCTextFieldFromCounterDisplayCluster(const zar::platform::AXUIElementRef& cluster);
  zar::platform::AXUIElementRef findEndTCTextFieldFromCounterDisplayCluster(const zar::platform::AXUIElementRef& cluster);

  /// The elements found when the driver attached; any thread, returns at once.
  zar::platform::AXUIElementRef startTCTextfield() const;
  zar::platform::AXUIElementRef endTCTextfield() const;
  zar::platform::AXUIElementRef editWindow() const;

 private:
  std::optional<std::string> selectionTC(const zar::platform::AXUIElementRef& field, ZAR_Error* error);
  std::optional<ZAR_Error> setSelectionTC(const zar::platform::AXUIElementRef& field,
                                          const std::optional<std::string>& tc, bool start);
  /// The opening of a pass: its black box begun, a fresh HUI device, then the check that Pro Tools
  /// talks HUI with it (the pass ends there when it doesn't).
  bool openPass(ZAR_DAWMode mode, const std::shared_ptr<ZAR_VisualEvent>& event);
  /// Begins the black box of a pass of `event` from what the framework knows already (no read of
  /// Pro Tools); a pass still recording ends first.
  void beginPassRecord(ZAR_DAWMode mode, const ZAR_VisualEvent& event);
  void selectRange(const ZAR_VisualEvent& event, double pause);
  /// The entry of the record tracks at the cue's record-track index; none when the cue names no
  /// entry (as in a rehearse or review where nothing records): then no track is the record track.
  std::shared_ptr<ZAR_DAWAudioTrack> recordTrackOf(const ZAR_VisualEvent& event) const;

  mutable std::mutex _elementMutex;
  /// The edit window's children at the last track discovery; -1 when they couldn't be read.
  std::atomic<long> _editWindowChildCount{-1};
  zar::platform::AXUIElementRef _startTCTextfield;
  zar::platform::AXUIElementRef _endTCTextfield;
  zar::platform::AXUIElementRef _editWindow;
};
