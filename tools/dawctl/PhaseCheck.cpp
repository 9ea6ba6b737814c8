#include "PhaseCheck.h"

#include <fmt/format.h>

namespace dawctl {

namespace {

// One field a phase asks for: nothing means it must stay as it was.
struct Asked {
  std::optional<bool> recEnabled;
  std::optional<bool> inputMonitoring;
  std::optional<bool> muted;
};

void applyState(Asked& asked, ZAR_DAWTrackState state) {
  switch (state) {
    case ZAR_DAWTrackStatePlay:
      asked.inputMonitoring = false;
      asked.muted = false;
      break;
    case ZAR_DAWTrackStateInput:
      asked.inputMonitoring = true;
      asked.muted = false;
      break;
    case ZAR_DAWTrackStateMute:
      asked.inputMonitoring = false;
      asked.muted = true;
      break;
    default:
      break;  // Record asks nothing outside the cue's record track
  }
}

Asked ask(const ZAR_DAWAudioTrackMode& mode, ZAR_DAWEventPhase phase, bool isRecordTrack) {
  Asked asked;
  const bool recordsDuringCue = mode.duringState() == ZAR_DAWTrackStateRecord;
  if (phase == ZAR_DAWEventPhaseBefore) {
    asked.recEnabled = recordsDuringCue && isRecordTrack;
    if (recordsDuringCue && !isRecordTrack) {
      asked.muted = false;
      asked.inputMonitoring = false;
    } else {
      applyState(asked, mode.beforeState());
    }
  } else if (phase == ZAR_DAWEventPhaseDuring) {
    if (recordsDuringCue) {
      asked.muted = !isRecordTrack;
    } else {
      applyState(asked, mode.duringState());
    }
  } else if (recordsDuringCue && !isRecordTrack) {
    asked.muted = false;
    asked.inputMonitoring = false;
  } else {
    applyState(asked, mode.afterState());
  }
  return asked;
}

const char* passName(ZAR_DAWMode pass) {
  switch (pass) {
    case ZAR_DAWModeRehearse:
      return "rehearse";
    case ZAR_DAWModeRecord:
      return "record";
    default:
      return "review";
  }
}

const char* phaseName(ZAR_DAWEventPhase phase) {
  switch (phase) {
    case ZAR_DAWEventPhaseBefore:
      return "before the cue";
    case ZAR_DAWEventPhaseDuring:
      return "during the cue";
    default:
      return "after the cue";
  }
}

const char* onOff(bool value) { return value ? "on" : "off"; }

}  // namespace

PhaseCheck::PhaseCheck(std::shared_ptr<ZAR_DAWMuteRecMatrix> matrix) : _matrix(std::move(matrix)) {}

std::shared_ptr<ZAR_DAWAudioTrackMode> PhaseCheck::modeAt(ZAR_DAWMode pass, std::size_t position) const {
  const auto index = static_cast<std::int32_t>(position);
  std::shared_ptr<ZAR_DAWAudioTrackMode> mode;
  if (pass == ZAR_DAWModeRehearse) {
    mode = _matrix->rehearseModeAtTrackIndex(index);
  } else if (pass == ZAR_DAWModeRecord) {
    mode = _matrix->recordModeAtTrackIndex(index);
  } else {
    mode = _matrix->reviewModeAtTrackIndex(index);
  }
  return mode ? mode : ZAR_DAWAudioTrackMode::nullTrackMode();
}

std::vector<std::size_t> PhaseCheck::recordPositions(std::size_t trackCount) const {
  std::vector<std::size_t> positions;
  for (std::size_t i = 0; i < trackCount; ++i) {
    if (modeAt(ZAR_DAWModeRecord, i)->duringState() == ZAR_DAWTrackStateRecord) positions.push_back(i);
  }
  return positions;
}

std::vector<PhaseCheck::Difference> PhaseCheck::compare(ZAR_DAWMode pass, ZAR_DAWEventPhase phase,
                                                        std::optional<std::size_t> recordPosition,
                                                        const std::vector<TrackRow>& previous,
                                                        const std::vector<TrackRow>& shown, bool settled) const {
  std::vector<Difference> differences;
  const auto nullMode = ZAR_DAWAudioTrackMode::nullTrackMode();
  for (std::size_t i = 0; i < shown.size() && i < previous.size(); ++i) {
    const auto mode = modeAt(pass, i);
    const Asked asked = mode == nullMode ? Asked{} : ask(*mode, phase, recordPosition == i);
    const auto check = [&](const char* what, std::optional<bool> wanted, bool before, bool now) {
      if (now == wanted.value_or(before)) return;
      const std::string reason =
          wanted ? fmt::format("the {} mode \"{}\" asks {} {}", passName(pass), mode->name().value_or(""),
                               onOff(*wanted), phaseName(phase))
                 : fmt::format("nothing asks a change {} (it was {})", phaseName(phase), onOff(before));
      differences.push_back({static_cast<std::int32_t>(i), shown[i].name,
                             fmt::format("{}: {} is {}{}, {}", shown[i].name, what, onOff(now),
                                  settled ? "" : " as the phase starts", reason)});
    };
    check("record enable", asked.recEnabled, previous[i].recEnabled, shown[i].recEnabled);
    if (settled) {
      check("input monitor", asked.inputMonitoring, previous[i].inputMonitoring, shown[i].inputMonitoring);
    }
    check("mute", asked.muted, previous[i].muted, shown[i].muted);
  }
  if (phase == ZAR_DAWEventPhaseBefore && settled) {
    for (std::size_t i = shown.size(); i < ZAR_DAWMuteRecMatrix::trackCount; ++i) {
      const auto mode = modeAt(pass, i);
      if (mode == nullMode) continue;
      differences.push_back({static_cast<std::int32_t>(i), "",
                             fmt::format("track {}: the {} mode \"{}\" is assigned to it, but the session has only "
                                         "{} tracks",
                                         i, passName(pass), mode->name().value_or(""), shown.size())});
    }
  }
  return differences;
}

std::vector<PhaseCheck::Difference> PhaseCheck::unchanged(const std::vector<TrackRow>& previous,
                                                          const std::vector<TrackRow>& shown) {
  std::vector<Difference> differences;
  for (std::size_t i = 0; i < shown.size() && i < previous.size(); ++i) {
    if (shown[i] != previous[i]) {
      differences.push_back({static_cast<std::int32_t>(i), shown[i].name,
                             fmt::format("{}: changed although nothing was to reach Pro Tools", shown[i].name)});
    }
  }
  return differences;
}

}  // namespace dawctl
