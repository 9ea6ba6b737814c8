#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"

namespace dawctl {

/// The demo's Pro Tools session and cue, as data: the tracks with the state Pro Tools shows when
/// the demo starts and the modes the demo assigns to them, and the cue that is rehearsed,
/// recorded and reviewed.
struct DemoSession {
  struct Track {
    std::string name;
    bool aux = false;
    /// As Pro Tools shows it when the demo starts.
    bool armed = false;
    bool muted = false;
    /// The names of its modes for rehearsing, recording and reviewing; empty: none assigned.
    std::string rehearse;
    std::string record;
    std::string review;
  };
  struct Mode {
    std::string name;
    ZAR_DAWTrackState before = ZAR_DAWTrackStatePlay;
    ZAR_DAWTrackState during = ZAR_DAWTrackStatePlay;
    ZAR_DAWTrackState after = ZAR_DAWTrackStatePlay;
  };

  /// Six tracks: two dialogue tracks that record, a booth microphone in Input, a guide track
  /// muted while a take records, a muted music track and an aux track without modes.
  static DemoSession standard();

  /// The options that start the stand-in Pro Tools (tools/protools-standin) with this session:
  /// its name and the tracks in order, each with its kind and the state it starts in.
  std::vector<std::string> standInOptions() const;

  /// Adds the session's own modes to the list and assigns the tracks' modes in the matrix.
  void assignModes(ZAR_DAWAudioTrackModeList& list, ZAR_DAWMuteRecMatrix& matrix) const;

  std::string name;
  std::vector<Track> tracks;
  /// Modes added to the four default ones.
  std::vector<Mode> extraModes;
  std::string cueNumber;
  std::string characterPrefix;
  std::string startTC;
  std::string endTC;
  /// The cue's record track among the record tracks.
  std::int32_t recTrackIndex = 0;
};

}  // namespace dawctl
