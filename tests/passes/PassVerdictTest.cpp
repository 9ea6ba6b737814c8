#include <fmt/format.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/passes/PassVerdict.h"
#include "passes/PassRecordBuilder.h"

namespace pass_verdict_test {

using zar::test::PassRecordBuilder;
using Kind = ZAR_DAWPassRecord::EventKind;
using Ending = ZAR_DAWPassRecord::Ending;
constexpr auto kBefore = ZAR_DAWEventPhaseBefore;
constexpr auto kDuring = ZAR_DAWEventPhaseDuring;
constexpr auto kAfter = ZAR_DAWEventPhaseAfter;

struct Case {
  const char* name;
  std::function<void(PassRecordBuilder&)> change;
  std::string cutShort;
  // "position name phase: text"
  std::vector<std::string> differences;
  std::vector<std::string> unjudged;
};

const std::string kNotReadBack = "the new name \"A_4_12\" of the record track was not read back during the pass";

const Case kCases[] = {
    {"clean take", [](PassRecordBuilder&) {}, "", {}, {}},
    {"a track left armed",
     [](PassRecordBuilder& p) { p.record.tracks[1].recEnabled = true; },
     "",
     {"1 Dialog 2 1: record enable on, asked off", "1 Dialog 2 2: record enable on, asked off"},
     {}},
    {"input monitor switched back by the user before the cue",
     [](PassRecordBuilder& p) {
       p.insertAtEnd(kBefore, PassRecordBuilder::read(2, false));
       p.find(Kind::inputRead, 2, kDuring)->on = false;
     },
     "",
     {"2 Music 1: input monitor off, asked on"},
     {}},
    // The read that saw it on in Before came too early; the first read of During tells.
    {"the first read of the next phase wins",
     [](PassRecordBuilder& p) { p.find(Kind::inputRead, 2, kBefore)->on = false; },
     "",
     {},
     {}},
    {"input monitors never read",
     [](PassRecordBuilder& p) {
       std::erase_if(p.record.events, [](const auto& e) { return e.kind == Kind::inputRead && e.track != 0; });
     },
     "",
     {},
     {"input monitors of tracks 1 \"Dialog 2\", 2 \"Music\" not read by the end of the phase before the cue",
      "input monitor of track 2 \"Music\" not read by the end of the phase during the cue",
      "input monitors of tracks 1 \"Dialog 2\", 2 \"Music\" not read by the end of the phase after the cue"}},
    {"rename not read back", [](PassRecordBuilder& p) { p.drop(Kind::trackName, 0, kDuring); }, "", {}, {kNotReadBack}},
    {"take not counted",
     [](PassRecordBuilder& p) { p.record.cue.takesAfter = 3; },
     "",
     {"-1  0: the take count went from 3 to 3, not 4"},
     {}},
    // Then Dialog 1 is a record-type track like any other: it should have been disarmed and muted.
    {"no record track",
     [](PassRecordBuilder& p) {
       p.record.recordTrackPosition = -1;
       p.record.cue.recTrackIndex = 2;
       p.drop(Kind::trackName, 0, kDuring);
       p.drop(Kind::rename, 0, kBefore);
     },
     "",
     {"0 Dialog 1 1: record enable on, asked off", "0 Dialog 1 2: record enable on, asked off",
      "0 Dialog 1 2: mute off, asked on",
      "-1  0: no record track at the cue's record-track index 2: the take was not named"},
     {}},
    // The phase the pass ended in: record enable and mute judged, a wrong input monitor not.
    {"Pro Tools gone after the cue",
     [](PassRecordBuilder& p) {
       p.record.ending = Ending::proToolsGone;
       p.find(Kind::inputRead, 1, kAfter)->on = true;
       p.drop(Kind::trackLamp, 2, kAfter);
     },
     "Pro Tools went away during the pass",
     {"2 Music 3: mute off, asked on"},
     {"input monitors in the phase after the cue, where the pass ended: not judged"}},
    {"the next pass",
     [](PassRecordBuilder& p) { p.record.ending = Ending::nextPass; },
     "the next pass began before Stop",
     {},
     {"input monitors in the phase after the cue, where the pass ended: not judged"}},
    {"stopped before the pass began",
     [](PassRecordBuilder& p) { p.record.events.clear(); },
     "stopped before the pass began",
     {},
     {}},
    {"stopped before the cue",
     [](PassRecordBuilder& p) {
       p.cutAt(kDuring);
       p.record.tracks[1].muted = true;
     },
     "stopped before the cue",
     {"1 Dialog 2 1: mute on, asked off"},
     {"input monitors in the phase before the cue, where the pass ended: not judged", kNotReadBack}},
    {"stopped during the cue",
     [](PassRecordBuilder& p) { p.cutAt(kAfter); },
     "stopped during the cue",
     {},
     {"input monitors in the phase during the cue, where the pass ended: not judged"}},
};

// The differences a take on the simulated desktop shows (a mute gone, a name not entered, HUI down)
// are in PassRecordingTest; these are the rules around them.
TEST(PassVerdict, JudgesWhatTheModesAskPhaseByPhase) {
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    auto pass = PassRecordBuilder::cleanTake();
    c.change(pass);
    auto& record = pass.record;
    record.differences.push_back({5, "stale", 1, "from an earlier judgement"});
    zar::passes::PassVerdict::judge(record);
    std::vector<std::string> differences;
    for (const auto& d : record.differences) {
      differences.push_back(fmt::format("{} {} {}: {}", d.position, d.track, d.phase, d.text));
    }
    EXPECT_EQ(record.cutShort, c.cutShort);
    EXPECT_EQ(differences, c.differences);
    EXPECT_EQ(record.unjudged, c.unjudged);
  }
}

}  // namespace pass_verdict_test
