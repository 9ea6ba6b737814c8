#include "DemoSession.h"

#include <memory>

namespace dawctl {

DemoSession DemoSession::standard() {
  DemoSession session;
  session.name = "Dialogue Session";
  session.tracks = {
      {"JO Dialog", false, false, false, "Input", "Record", "Play"},
      {"ANNA Dialog", false, true, false, "Input", "Record", "Play"},
      {"Booth Mic", false, false, false, "Input", "Input", "Mute"},
      {"Guide", false, false, false, "Play", "Muted during the cue", "Play"},
      {"Music", false, false, true, "Mute", "Mute", "Mute"},
      {"FX", true, false, false, "", "", ""},
  };
  session.extraModes = {{"Muted during the cue", ZAR_DAWTrackStatePlay, ZAR_DAWTrackStateMute, ZAR_DAWTrackStatePlay}};
  session.cueNumber = "101";
  session.characterPrefix = "JO";
  session.startTC = "01:00:10:00";
  session.endTC = "01:00:13:00";
  session.recTrackIndex = 0;
  return session;
}

std::vector<std::string> DemoSession::standInOptions() const {
  std::vector<std::string> options{"--session", name};
  for (const auto& track : tracks) {
    options.push_back("--track");
    options.push_back(track.name + (track.aux ? ":aux" : "") + (track.armed ? ":armed" : "") +
                      (track.muted ? ":muted" : ""));
  }
  return options;
}

void DemoSession::assignModes(ZAR_DAWAudioTrackModeList& list, ZAR_DAWMuteRecMatrix& matrix) const {
  for (const Mode& definition : extraModes) {
    auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
    mode->setName(definition.name);
    mode->setBeforeState(definition.before);
    mode->setDuringState(definition.during);
    mode->setAfterState(definition.after);
    list.addAudioTrackMode(std::move(mode));
  }
  const auto named = [&](const std::string& modeName) {
    for (const auto& mode : *list.audioTrackModes()) {
      if (mode && mode->name() == modeName) return mode;
    }
    return ZAR_DAWAudioTrackMode::nullTrackMode();
  };
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    const auto position = static_cast<std::int32_t>(i);
    matrix.setRehearseMode(named(tracks[i].rehearse), position);
    matrix.setRecordMode(named(tracks[i].record), position);
    matrix.setReviewMode(named(tracks[i].review), position);
  }
}

}  // namespace dawctl
