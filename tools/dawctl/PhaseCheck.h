#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DemoStage.h"
#include "ZAR_DAWControl/daw/ZAR_DAWTypes.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"

namespace dawctl {

/// What the modes ask of each track at a phase of a pass, compared with what Pro Tools shows.
///
/// A track without a mode for the pass is left alone; one whose mode records during the cue is
/// armed before the cue when it is the cue's record track and otherwise plays along: disarmed,
/// unmuted and without input before the cue, muted during it, unmuted without input after it.
/// Every other track takes its mode's state for the phase (Play: input and mute off, Input: input
/// on, Mute: mute on) and is disarmed before the cue. Whatever a phase doesn't ask must stay as
/// Pro Tools showed it at the phase before.
class PhaseCheck {
 public:
  struct Difference {
    std::int32_t position = 0;
    /// The track's name in Pro Tools; empty when the session has no track there.
    std::string track;
    std::string text;
  };

  explicit PhaseCheck(std::shared_ptr<ZAR_DAWMuteRecMatrix> matrix);

  /// The positions among the first `trackCount` whose record mode records during the cue.
  std::vector<std::size_t> recordPositions(std::size_t trackCount) const;
  /// Where `shown` differs from what the modes of `pass` ask at `phase`, given what Pro Tools
  /// showed before (`previous`) and the position of the cue's record track. Before the cue it also
  /// names the positions beyond the session that the pass's modes would act on.
  ///
  /// At the start of a phase (`settled` false) only record enable and mute are compared: they go
  /// over HUI at once, while input monitors are pressed at most once per 0.2 s across all tracks,
  /// so later frames complete them.
  std::vector<Difference> compare(ZAR_DAWMode pass, ZAR_DAWEventPhase phase, std::optional<std::size_t> recordPosition,
                                  const std::vector<TrackRow>& previous, const std::vector<TrackRow>& shown,
                                  bool settled) const;
  /// Where `shown` differs from `previous` at all: nothing was to change.
  static std::vector<Difference> unchanged(const std::vector<TrackRow>& previous, const std::vector<TrackRow>& shown);

  /// The pass's mode at a position (the null mode when none is assigned).
  std::shared_ptr<ZAR_DAWAudioTrackMode> modeAt(ZAR_DAWMode pass, std::size_t position) const;

 private:
  std::shared_ptr<ZAR_DAWMuteRecMatrix> _matrix;
};

}  // namespace dawctl
