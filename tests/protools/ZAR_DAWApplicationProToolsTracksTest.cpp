#include <gtest/gtest.h>

#include <map>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/Logger.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/ProToolsTest.h"

namespace {

using zar::sim::SimElement;
using zar::sim::SimProTools;
using Calls = std::vector<std::string>;

constexpr ZAR_DAWTrackState Play = ZAR_DAWTrackStatePlay;
constexpr ZAR_DAWTrackState Input = ZAR_DAWTrackStateInput;
constexpr ZAR_DAWTrackState Mute = ZAR_DAWTrackStateMute;
constexpr ZAR_DAWTrackState Record = ZAR_DAWTrackStateRecord;

std::shared_ptr<ZAR_DAWAudioTrackMode> mode(ZAR_DAWTrackState before, ZAR_DAWTrackState during, ZAR_DAWTrackState after) {
  auto made = std::make_shared<ZAR_DAWAudioTrackMode>();
  made->setBeforeState(before);
  made->setDuringState(during);
  made->setAfterState(after);
  return made;
}

class TracksTest : public zar::test::ProToolsTest {
 protected:
  void SetUp() override { attachTo(launchProTools()); }
  void TearDown() override { ddLogLevel = _savedLogLevel; }

  void attachTo(std::shared_ptr<SimProTools> proTools) {
    _proTools = std::move(proTools);
    _driver = attach(_proTools);
    ASSERT_TRUE(_driver);
  }
  std::shared_ptr<ZAR_DAWAudioTrack> track(std::size_t position) const { return _driver->audioTracks().at(position); }
  std::vector<zar::platform::AXUIElementRef> clusters() const {
    std::vector<zar::platform::AXUIElementRef> result;
    for (const auto& t : _driver->audioTracks()) result.push_back(t->trackCluster());
    return result;
  }
  std::shared_ptr<SimElement> addChild(const std::string& role, const std::string& title, double y) {
    auto child = _proTools->makeElement(role, title);
    child->setFrame({{0, y}, {1600, 60}});
    return _proTools->editWindow()->addChild(child);
  }
  std::shared_ptr<ZAR_DAWMuteRecMatrix> matrix() const { return _manager->muteRecMatrix(); }

  // The calls that the automation makes on record enable and input monitoring, as "<position>:rec<0|1>" and
  // "<position>:in<0|1>", read from the tracks' debug lines.
  void traceCalls() {
    ddLogLevel = zar::platform::LogLevelDebug;
    sim.logger->clear();
  }
  Calls calls() const {
    std::map<std::string, std::size_t> positions;
    const auto tracks = _driver->audioTracks();
    for (std::size_t i = 0; i < tracks.size(); ++i) positions[tracks[i]->name()] = i;
    Calls result;
    for (const auto& message : sim.logger->messages()) {
      for (const auto& [marker, label] : {std::pair{"::Setting rec enabled state:", "rec"},
                                          std::pair{"::Setting input enabled state:", "in"}}) {
        const auto at = message.find(marker);
        if (at == std::string::npos) continue;
        result.push_back(std::to_string(positions.at(message.substr(0, at))) + ":" + label +
                         message.substr(at + std::char_traits<char>::length(marker)));
      }
    }
    return result;
  }
  Calls apply(ZAR_DAWMode operation, ZAR_DAWEventPhase phase) {
    sim.logger->clear();
    _driver->updateAudioTracksForMode(operation, phase);
    // Past the input-monitor guard, so that the next step may press again.
    sim.clock->advanceBy(0.25);
    return calls();
  }
  // Flags as Pro Tools' lamps would report them, without a toggle going back.
  void report(std::size_t position, bool recEnabled, bool muted) {
    _driver->huiDeviceRecordStateChangedForChannel(static_cast<std::int32_t>(position), recEnabled);
    _driver->huiDeviceMuteStateChangedForChannel(static_cast<std::int32_t>(position), muted);
  }
  void setInputMonitoring(std::size_t position, bool on) {
    if (_proTools->inputMonitoring(position) != on) _proTools->inputMonitorButton(position)->performAction(zar::ax::kPressAction);
  }
  std::shared_ptr<ZAR_VisualEvent> cue(std::int64_t in, std::int64_t end, std::int32_t recTrackIndex = 0) {
    auto event = std::make_shared<ZAR_VisualEvent>();
    event->setInPointFrameIndex(in);
    event->setEndFrameIndex(end);
    event->setRecTrackIndex(recTrackIndex);
    return event;
  }

  std::shared_ptr<ZAR_DAWApplicationManager> _manager = ZAR_DAWApplicationManager::sharedManager();
  std::shared_ptr<SimProTools> _proTools;
  std::shared_ptr<ZAR_DAWApplicationProTools> _driver;
  std::int32_t _savedLogLevel = ddLogLevel;
};

// Discovery.

TEST_F(TracksTest, ANewDriverHoldsTheTracksTopToBottom) {
  const auto tracks = _driver->audioTracks();
  ASSERT_EQ(tracks.size(), 3u);
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    EXPECT_EQ(tracks[i]->index(), static_cast<std::int32_t>(i));
    EXPECT_EQ(tracks[i]->trackCluster(), _proTools->trackRow(i));
    EXPECT_EQ(tracks[i]->recButton(), _proTools->recordEnableButton(i));
    EXPECT_EQ(tracks[i]->inputButton(), _proTools->inputMonitorButton(i));
    EXPECT_EQ(tracks[i]->muteButton(), _proTools->muteButton(i));
    EXPECT_EQ(tracks[i]->nameTextField(), _proTools->trackNameField(i));
    EXPECT_FALSE(tracks[i]->recEnabled() || tracks[i]->muted());
  }
  EXPECT_EQ(tracks[2]->name(), "FX ");
}

TEST_F(TracksTest, TrackRowsAreGroupsOrToolbarsWithAMarkerInAnyCase) {
  const auto shouted = addChild(zar::ax::kGroupRole, "Dialog 9 - AUDIO TRACK", 800);
  const auto toolbar = addChild(zar::ax::kToolbarRole, "Strip audio Track", 860);
  const auto auxiliary = addChild(zar::ax::kGroupRole, "Bus auxiliary track", 920);
  const auto aux = addChild(zar::ax::kGroupRole, "Verb Aux Track", 980);
  addChild(zar::ax::kButtonRole, "Dialog 1 - Audio Track", 700);
  addChild(zar::ax::kGroupRole, "Dialog 1 - Audio Trac", 710);
  addChild(zar::ax::kGroupRole, "Dialog 1 -Audio Track", 711);
  addChild(zar::ax::kGroupRole, "MIDI track", 720);
  addChild(zar::ax::kGroupRole, "Video - Video Track", 730);
  addChild("AXgroup", "Lower - Audio Track", 740);
  addChild(zar::ax::kGroupRole, "Broken - Audio Track", 750)->setFailure(zar::platform::AXError::cannotComplete);
  const auto untitled = addChild(zar::ax::kGroupRole, "x", 760);
  untitled->removeAttribute(zar::ax::kTitleAttribute);

  _driver->findAudioTracks();
  const std::vector<zar::platform::AXUIElementRef> expected{
      _proTools->trackRow(0), _proTools->trackRow(1), _proTools->trackRow(2), shouted, toolbar, auxiliary, aux};
  EXPECT_EQ(clusters(), expected);
}

TEST_F(TracksTest, RowsListedOutOfOrderAreSortedByHeight) {
  const auto before = _driver->audioTracks();
  _proTools->setRowListingOrder({2, 0, 1});  // bottom, top, middle
  _driver->findAudioTracks();
  const auto after = _driver->audioTracks();
  const std::vector<zar::platform::AXUIElementRef> topToBottom{_proTools->trackRow(0), _proTools->trackRow(1),
                                                               _proTools->trackRow(2)};
  EXPECT_EQ(clusters(), topToBottom);
  for (std::size_t i = 0; i < after.size(); ++i) EXPECT_EQ(after[i]->index(), static_cast<std::int32_t>(i));
  // Objects are handed rows by listing position: the first object got the bottom row.
  EXPECT_EQ(after[2], before[0]);
  EXPECT_EQ(after[0], before[1]);
  EXPECT_EQ(after[1], before[2]);
}

TEST_F(TracksTest, ObjectsAreReusedByPositionAndTheSurplusDropped) {
  const auto before = _driver->audioTracks();
  report(1, true, true);
  _proTools->removeTrack(1);
  _driver->findAudioTracks();
  const auto after = _driver->audioTracks();
  ASSERT_EQ(after.size(), 2u);
  EXPECT_EQ(after[0], before[0]);
  EXPECT_EQ(after[1], before[1]) << "the second object now stands for what was the third track";
  EXPECT_EQ(after[1]->trackCluster(), _proTools->trackRow(1));
  EXPECT_EQ(after[1]->name(), "FX ");
  EXPECT_EQ(after[1]->inputButton(), _proTools->inputMonitorButton(1));
  EXPECT_TRUE(after[1]->recEnabled() && after[1]->muted()) << "cached flags stay with the object";

  _proTools->addTrack({"ADR", SimProTools::TrackKind::audio});
  _proTools->addTrack({"Loop", SimProTools::TrackKind::aux});
  _driver->findAudioTracks();
  const auto grown = _driver->audioTracks();
  ASSERT_EQ(grown.size(), 4u);
  EXPECT_EQ(grown[0], before[0]);
  EXPECT_EQ(grown[1], before[1]);
  EXPECT_NE(grown[2], before[2]) << "a dropped object doesn't come back";
  EXPECT_EQ(grown[3]->name(), "Loop ");
  EXPECT_EQ(grown[3]->index(), 3);
  EXPECT_FALSE(grown[2]->recEnabled() || grown[2]->muted());

  _proTools->closeSession();
  _driver->findAudioTracks();
  EXPECT_TRUE(_driver->audioTracks().empty()) << "no edit window, no tracks";
}

// The phase from the frame.

TEST_F(TracksTest, TheFrameDecidesThePhaseWithBothEndsDuring) {
  matrix()->setReviewMode(mode(Play, Input, Mute), 0);
  const auto event = cue(100, 200);
  _driver->ZAR_DAWApplication::reviewWithEvent(event);
  traceCalls();
  const auto at = [&](std::int64_t frame) {
    sim.logger->clear();
    _driver->updateDAWTrackStatesForFrameIndex(frame);
    sim.clock->advanceBy(0.25);
    return calls();
  };
  // Before: record enable off, then Play; during: Input; after: Mute.
  EXPECT_EQ(at(99), (Calls{"0:rec0", "0:in0"}));
  EXPECT_EQ(at(100), (Calls{"0:in1"}));
  EXPECT_TRUE(_proTools->inputMonitoring(0));
  EXPECT_FALSE(track(0)->muted());
  EXPECT_EQ(at(200), (Calls{"0:in1"}));
  EXPECT_EQ(at(201), (Calls{"0:in0"}));
  EXPECT_FALSE(_proTools->inputMonitoring(0));
  EXPECT_TRUE(track(0)->muted());
  EXPECT_EQ(at(INT64_MIN), (Calls{"0:rec0", "0:in0"}));
  EXPECT_FALSE(track(0)->muted());
  EXPECT_EQ(at(INT64_MAX), (Calls{"0:in0"}));
  EXPECT_TRUE(track(0)->muted());

  // Negative frames compare signed.
  event->setInPointFrameIndex(-10);
  event->setEndFrameIndex(-5);
  EXPECT_EQ(at(-11), (Calls{"0:rec0", "0:in0"}));
  EXPECT_EQ(at(-7), (Calls{"0:in1"}));
  EXPECT_EQ(at(0), (Calls{"0:in0"}));
}

TEST_F(TracksTest, NoFrameUpdateWithoutACue) {
  matrix()->setRehearseMode(mode(Mute, Mute, Mute), 0);
  traceCalls();
  _driver->updateDAWTrackStatesForFrameIndex(0);
  EXPECT_EQ(_driver->currentMode(), ZAR_DAWModeRehearse) << "a new object's mode is 0, but no cue runs";

  auto event = cue(0, 10);
  _driver->ZAR_DAWApplication::rehearseWithEvent(event);
  _driver->ZAR_DAWApplication::stopPlayback();
  _driver->updateDAWTrackStatesForFrameIndex(5);

  _driver->ZAR_DAWApplication::rehearseWithEvent(event);
  event.reset();  // the host lets the cue go
  _driver->updateDAWTrackStatesForFrameIndex(5);

  EXPECT_TRUE(calls().empty());
  EXPECT_FALSE(track(0)->muted());
}

// Applying the states.

TEST_F(TracksTest, ATrackWithTheNullModeIsLeftAlone) {
  for (std::int32_t i = 0; i < 3; ++i) matrix()->setRecordMode(ZAR_DAWAudioTrackMode::nullTrackMode(), i);
  matrix()->setRecordMode(mode(Play, Record, Play), 1);
  report(0, true, true);
  setInputMonitoring(0, true);
  const auto event = cue(0, 10, 0);
  _driver->ZAR_DAWApplication::recordWithEvent(event);
  traceCalls();
  for (const auto phase : {ZAR_DAWEventPhaseBefore, ZAR_DAWEventPhaseDuring, ZAR_DAWEventPhaseAfter}) {
    for (const auto& call : apply(ZAR_DAWModeRecord, phase)) EXPECT_NE(call[0], '0') << call;
  }
  EXPECT_TRUE(track(0)->recEnabled());
  EXPECT_TRUE(track(0)->muted());
  EXPECT_TRUE(_proTools->inputMonitoring(0));
  EXPECT_EQ(apply(ZAR_DAWModeReview, ZAR_DAWEventPhaseBefore), Calls{}) << "the review column is all null";
}

TEST_F(TracksTest, EachOperationReadsItsOwnColumn) {
  matrix()->setRehearseMode(mode(Mute, Mute, Mute), 0);
  matrix()->setRecordMode(mode(Input, Input, Input), 1);
  matrix()->setReviewMode(mode(Play, Play, Play), 2);
  const auto event = cue(0, 10);
  _driver->ZAR_DAWApplication::rehearseWithEvent(event);
  traceCalls();
  EXPECT_EQ(apply(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseDuring), (Calls{"0:in0"}));
  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseDuring), (Calls{"1:in1"}));
  EXPECT_EQ(apply(ZAR_DAWModeReview, ZAR_DAWEventPhaseDuring), (Calls{"2:in0"}));
  EXPECT_EQ(apply(7, ZAR_DAWEventPhaseDuring), (Calls{"2:in0"})) << "any other operation reads the review column";
}

TEST_F(TracksTest, MutePlayAndInputStatesAndRecordAsAPlainState) {
  matrix()->setRehearseMode(mode(Mute, Mute, Mute), 1);
  matrix()->setRehearseMode(mode(Input, Play, Record), 0);
  report(0, false, true);
  report(1, true, false);
  const auto event = cue(0, 10);
  _driver->ZAR_DAWApplication::rehearseWithEvent(event);
  traceCalls();
  EXPECT_EQ(apply(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseBefore), (Calls{"0:rec0", "0:in1", "1:rec0", "1:in0"}));
  EXPECT_TRUE(_proTools->inputMonitoring(0));
  EXPECT_FALSE(track(0)->muted());
  EXPECT_FALSE(track(1)->recEnabled());
  EXPECT_TRUE(track(1)->muted());

  report(0, false, true);
  report(1, true, false);
  EXPECT_EQ(apply(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseDuring), (Calls{"0:in0", "1:in0"}))
      << "record enable is touched only before";
  EXPECT_FALSE(_proTools->inputMonitoring(0));
  EXPECT_FALSE(track(0)->muted());
  EXPECT_TRUE(track(1)->recEnabled() && track(1)->muted());
  report(0, false, true);
  EXPECT_EQ(apply(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseAfter), (Calls{"1:in0"})) << "Record as a plain state does nothing";
  EXPECT_TRUE(track(0)->muted());
}

TEST_F(TracksTest, RecordWithTheRecordTrackAndAnotherRecordTypeTrack) {
  // A (position 0) records; B (position 1) records in other cues; the aux plays.
  matrix()->setRecordMode(mode(Play, Record, Input), 0);
  matrix()->setRecordMode(mode(Play, Record, Input), 1);
  matrix()->setRecordMode(mode(Play, Play, Play), 2);
  report(1, true, true);
  setInputMonitoring(1, true);
  const auto event = cue(100, 200, 0);
  _driver->ZAR_DAWApplication::recordWithEvent(event);
  traceCalls();

  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseBefore),
            (Calls{"0:rec1", "0:in0", "1:rec0", "1:in0", "2:rec0", "2:in0"}));
  EXPECT_TRUE(track(0)->recEnabled());
  EXPECT_FALSE(track(1)->recEnabled());
  EXPECT_FALSE(track(1)->muted());
  EXPECT_FALSE(_proTools->inputMonitoring(1));

  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseDuring), (Calls{"2:in0"}));
  EXPECT_FALSE(track(0)->muted());
  EXPECT_TRUE(track(1)->muted());
  EXPECT_TRUE(track(0)->recEnabled()) << "the record track stays armed";

  report(0, true, true);
  setInputMonitoring(1, true);
  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseAfter), (Calls{"0:in1", "1:in0", "2:in0"}));
  EXPECT_FALSE(track(0)->muted()) << "A follows its after state, Input";
  EXPECT_TRUE(_proTools->inputMonitoring(0));
  EXPECT_FALSE(track(1)->muted());
  EXPECT_TRUE(_proTools->inputMonitoring(1)) << "dropped by the guard right after A's press, done a step later";
  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseAfter), (Calls{"0:in1", "1:in0", "2:in0"}));
  EXPECT_FALSE(_proTools->inputMonitoring(1));
  EXPECT_TRUE(track(0)->recEnabled());

  // The cue names the second record track: the roles swap.
  event->setRecTrackIndex(1);
  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseBefore),
            (Calls{"0:rec0", "0:in0", "1:rec1", "1:in0", "2:rec0", "2:in0"}));
  EXPECT_FALSE(track(0)->recEnabled());
  EXPECT_TRUE(track(1)->recEnabled());
  apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseDuring);
  EXPECT_TRUE(track(0)->muted());
  EXPECT_FALSE(track(1)->muted());
}

TEST_F(TracksTest, WithoutARecordTrackAtTheCuesIndexEveryRecordTypeTrackStandsAside) {
  matrix()->setRehearseMode(mode(Play, Record, Play), 0);
  matrix()->setRehearseMode(mode(Play, Record, Play), 2);
  for (const std::int32_t recTrackIndex : {-1, 1, 2}) {
    SCOPED_TRACE(recTrackIndex);
    // Record modes decide the record tracks; only position 2 records in a record pass.
    matrix()->setRecordMode(mode(Play, Record, Play), 2);
    report(0, true, false);
    report(2, true, false);
    const auto event = cue(0, 10, recTrackIndex);
    _driver->ZAR_DAWApplication::rehearseWithEvent(event);
    traceCalls();
    EXPECT_EQ(apply(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseBefore), (Calls{"0:rec0", "0:in0", "2:rec0", "2:in0"}));
    EXPECT_FALSE(track(0)->recEnabled());
    EXPECT_FALSE(track(2)->recEnabled());
    apply(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseDuring);
    EXPECT_TRUE(track(0)->muted());
    EXPECT_TRUE(track(2)->muted());
  }
  // Index 0 of the record tracks is position 2, which is then armed in a rehearse too.
  const auto event = cue(0, 10, 0);
  _driver->ZAR_DAWApplication::rehearseWithEvent(event);
  apply(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseBefore);
  EXPECT_FALSE(track(0)->recEnabled());
  EXPECT_TRUE(track(2)->recEnabled());
}

TEST_F(TracksTest, APositionBeyondTheMatrixPlaysThroughout) {
  auto options = defaultOptions();
  options.tracks.clear();
  for (int i = 0; i < 66; ++i) options.tracks.push_back({"T" + std::to_string(i)});
  options.rowHeight = 10;
  attachTo(launchProTools(options));
  ASSERT_EQ(_driver->audioTracks().size(), 66u);
  EXPECT_EQ(track(65)->index(), 65);
  report(64, true, true);
  setInputMonitoring(64, true);
  report(65, false, true);
  const auto event = cue(0, 10);
  _driver->ZAR_DAWApplication::recordWithEvent(event);
  traceCalls();
  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseBefore), (Calls{"64:rec0", "64:in0", "65:rec0", "65:in0"}));
  EXPECT_FALSE(track(64)->recEnabled());
  EXPECT_FALSE(track(64)->muted());
  EXPECT_FALSE(track(65)->muted());
  EXPECT_FALSE(_proTools->inputMonitoring(64));
  report(64, false, true);
  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseDuring), (Calls{"64:in0", "65:in0"}));
  EXPECT_FALSE(track(64)->muted());
}

TEST_F(TracksTest, TheMatrixIsReadAtTheListPosition) {
  matrix()->setRehearseMode(mode(Mute, Mute, Mute), 0);
  auto tracks = _driver->audioTracks();
  std::swap(tracks[0], tracks[1]);  // indexes 1, 0, 2 at positions 0, 1, 2
  _driver->setAudioTracks(tracks);
  const auto event = cue(0, 10);
  _driver->ZAR_DAWApplication::rehearseWithEvent(event);
  apply(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseDuring);
  EXPECT_TRUE(tracks[0]->muted());
  EXPECT_FALSE(tracks[1]->muted());
}

}  // namespace
