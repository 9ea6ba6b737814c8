#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ZAR_DAWControl/daw/ZAR_DAWTypes.h"
#include "ZAR_DAWControl/modes/ZAR_DAWTrackState.h"

/// The black box of one pass: a rehearse, record or review of a cue, from the host's call that
/// starts it to `stopPlayback` (or to Pro Tools going away, or to the next pass), with what the
/// framework did, what Pro Tools showed, and the verdict: whether Pro Tools showed, by the end of
/// every phase, what the tracks' modes asked.
///
/// The framework makes one for every pass and hands it out, whole and never changed again, as the
/// object of "ZAR_DAWApplicationPassEnded" (`ZAR_DAWApplicationPassEndedNotification`) and through
/// `ZAR_DAWApplicationManager::recentPassRecords()`; it also keeps it on disk, one JSON line per
/// pass, for `dawctl takes`. Times are seconds of the platform's monotonic clock, the same clock as
/// the HUI and event time stamps; `startedAt` is the wall-clock time of the start.
struct ZAR_DAWPassRecord {
  /// The cue as the pass found it.
  struct Cue {
    std::string cueNumber;
    /// The character's prefix (empty without a character).
    std::string characterPrefix;
    std::string startTC;
    std::string endTC;
    std::int64_t inPointFrameIndex = 0;
    std::int64_t endFrameIndex = 0;
    std::int32_t recTrackIndex = 0;
    /// The cue's take count when the pass started, and when it ended.
    std::int32_t takesBefore = 0;
    std::int32_t takesAfter = 0;

    bool operator==(const Cue&) const = default;
  };

  /// A track of the session when the pass started, with its mode for the pass.
  struct Track {
    /// The track's position (its HUI channel and its row of the matrix).
    std::int32_t position = 0;
    /// The name as the framework last read it from Pro Tools (no read is made for the record).
    std::string name;
    /// The mode assigned to the position for the pass; `hasMode` false for the null mode (the
    /// track is left alone). A position beyond the matrix has a mode that plays in every phase.
    bool hasMode = false;
    std::string modeName;
    /// The mode's before, during and after states.
    std::array<ZAR_DAWTrackState, 3> states{ZAR_DAWTrackStatePlay, ZAR_DAWTrackStatePlay, ZAR_DAWTrackStatePlay};
    /// The record-enable and mute lamps as the framework knew them at the start.
    bool recEnabled = false;
    bool muted = false;

    bool operator==(const Track&) const = default;
  };

  enum class EventKind {
    /// `text`: the name of a notification the framework posted.
    notification,
    /// `text`, `detail`: the message and informative text of a warning; `on` true when it was
    /// shown, false when the user had suppressed it.
    warning,
    /// `bytes` (`size` of them): a message the framework sent to Pro Tools on the HUI port.
    huiSent,
    /// `bytes`: a message for the HUI port that was refused (link full, ports closed) or that the
    /// port failed; `text` says which.
    huiNotSent,
    /// A lamp message from Pro Tools: `zone`, `port`, `on`; for a strip (zone 0 to 7) `track` is
    /// the track position when the bank in view is known, else -1. `text` names the button.
    lamp,
    /// Pro Tools' record-enable (`text` "record") or mute (`text` "mute") lamp of `track` settled
    /// at `on`, as the framework's tracks follow it (flashing taken out).
    trackLamp,
    /// The framework pressed the input-monitor button of `track` to turn it `on`.
    inputPress,
    /// The input monitor of `track` read `on` by a frame update: the first read of each track in
    /// each phase, and every read that differs from the one before.
    inputRead,
    /// `phase` began; `frame` is its first frame update's frame, or -1 when it began with the
    /// pass (before any frame update).
    phase,
    /// The framework typed `text` into the selection start (`detail` "start") or end ("end").
    selectionTyped,
    /// The framework entered the name `text` for the record track `track`, whose name was
    /// `detail`.
    rename,
    /// A track discovery read the name `text` for the track at `track` (only names that changed
    /// since the last read are kept).
    trackName,
    /// An accessibility call failed: `text` the call and what it asked for, `detail` the error.
    accessibilityFailure,
    /// Something else worth knowing: `text`.
    note,
  };

  /// An event of the pass. Only the fields its kind uses (above) mean anything; the others keep
  /// their defaults, and the pass log keeps only the used ones.
  struct Event {
    /// Platform clock.
    double time = 0;
    EventKind kind = EventKind::note;
    std::int32_t track = -1;
    ZAR_DAWEventPhase phase = 0;
    std::int64_t frame = -1;
    bool on = false;
    std::uint8_t zone = 0;
    std::uint8_t port = 0;
    std::uint8_t size = 0;
    std::array<std::uint8_t, 3> bytes{};
    std::string text;
    std::string detail;

    bool operator==(const Event&) const = default;
  };

  /// A way in which Pro Tools did not show what the modes asked.
  struct Difference {
    /// The track's position and name; -1 and empty for the pass as a whole (the take count).
    std::int32_t position = -1;
    std::string track;
    /// The phase (1 before, 2 during, 3 after the cue); 0 for the pass as a whole.
    ZAR_DAWEventPhase phase = 0;
    /// What differed, as "record enable off, asked on".
    std::string text;

    bool operator==(const Difference&) const = default;
  };

  /// What Pro Tools showed at the end of a phase the pass reached, as the verdict read it.
  struct PhaseEnd {
    struct Shown {
      bool recEnabled = false;
      bool muted = false;
      /// Nothing when the framework never read it.
      std::optional<bool> input;
      bool operator==(const Shown&) const = default;
    };
    ZAR_DAWEventPhase phase = 0;
    /// The frame of the phase's first frame update; -1 when none came.
    std::int64_t firstFrame = -1;
    /// For each of `tracks`, in the same order.
    std::vector<Shown> tracks;
    bool operator==(const PhaseEnd&) const = default;
  };

  /// How the pass ended.
  enum class Ending {
    /// The host called `stopPlayback`.
    stopped,
    /// Pro Tools didn't talk HUI with the framework: nothing was done.
    huiDown,
    /// The framework let go of Pro Tools during the pass: Pro Tools went away (quit, or no longer
    /// answered), or the host disabled the manager.
    proToolsGone,
    /// The host started the next pass without stopping this one.
    nextPass,
  };

  /// Counts this process's passes from 1.
  std::uint64_t number = 0;
  /// Wall-clock time of the start, as "2026-11-25T14:03:07Z" (UTC).
  std::string startedAt;
  double startTime = 0;
  double endTime = 0;
  ZAR_DAWMode mode = ZAR_DAWModeNone;
  Cue cue;
  /// The tracks at the start, by position.
  std::vector<Track> tracks;
  /// The position of the cue's record track (the entry of the record tracks at the cue's
  /// record-track index), or -1 when none is.
  std::int32_t recordTrackPosition = -1;
  std::vector<Event> events;
  /// Events not kept because the pass held too many (`kMaximumEvents`).
  std::size_t droppedEvents = 0;
  Ending ending = Ending::stopped;

  // The verdict.

  /// The pass ended before its last phase, or never began: what was not reached is not judged.
  /// Empty when the pass ran through all three phases.
  std::string cutShort;
  /// The phases reached, in order.
  std::vector<PhaseEnd> phases;
  std::vector<Difference> differences;
  /// What couldn't be judged from what the pass saw (an input monitor never read in a phase, a new
  /// name never read back); not differences.
  std::vector<std::string> unjudged;

  /// A pass keeps at most this many events (about 1 MB); later ones are counted, not kept.
  static constexpr std::size_t kMaximumEvents = 10000;

  /// "as the modes ask", or "2 differences", followed by "; cut short: ..." when it was; only
  /// "cut short: ..." when the pass never reached a phase.
  std::string verdictText() const;
  /// "rehearse", "record", "review" ("none" for -1, the number for any other value).
  static std::string modeText(ZAR_DAWMode mode);
  /// "before", "during", "after" (the number for any other value).
  static std::string phaseText(ZAR_DAWEventPhase phase);

  /// One line of JSON, without a line feed: one object with readable keys, enumerations as text
  /// ("record", "before", "huiDown"), an event with only the fields its kind uses and its bytes as
  /// hex ("90 1f 7f"). Text that is not UTF-8 is written with U+FFFD in place of its bad bytes.
  std::string toJSONLine() const;
  /// A record from a line `toJSONLine` wrote; nothing when the line is no such record, whatever
  /// its bytes (wrong types, numbers out of range, too deep, too many events).
  static std::optional<ZAR_DAWPassRecord> fromJSONLine(std::string_view line);

  bool operator==(const ZAR_DAWPassRecord&) const = default;
};
