#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <tuple>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/Logger.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/ProToolsTest.h"
#include "support/TakeCue.h"

namespace {

using zar::sim::SimElement;
using zar::sim::SimHUIHost;
using zar::sim::SimProTools;
using Calls = std::vector<std::string>;

constexpr ZAR_DAWTrackState Play = ZAR_DAWTrackStatePlay;
constexpr ZAR_DAWTrackState Input = ZAR_DAWTrackStateInput;
constexpr ZAR_DAWTrackState Mute = ZAR_DAWTrackStateMute;
constexpr ZAR_DAWTrackState Record = ZAR_DAWTrackStateRecord;

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
  // Each track as "<R|-><M|-><I|->": armed and muted as the framework holds it, input monitoring as
  // Pro Tools shows it; tracks separated by blanks.
  std::string states(std::vector<std::size_t> positions = {0, 1, 2}) const {
    std::string shown;
    for (const auto i : positions) {
      shown += std::string(shown.empty() ? "" : " ") + (track(i)->recEnabled() ? "R" : "-") +
               (track(i)->muted() ? "M" : "-") + (_proTools->inputMonitoring(i) ? "I" : "-");
    }
    return shown;
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

TEST_F(TracksTest, ANewDriverHoldsTheTracksTopToBottomAndRowsListedOutOfOrderAreSortedByHeight) {
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

  const auto topToBottom = clusters();
  _proTools->setRowListingOrder({2, 0, 1});  // bottom, top, middle
  _driver->findAudioTracks();
  const auto after = _driver->audioTracks();
  EXPECT_EQ(clusters(), topToBottom);
  for (std::size_t i = 0; i < after.size(); ++i) EXPECT_EQ(after[i]->index(), static_cast<std::int32_t>(i));
  EXPECT_EQ(after, (std::vector{tracks[1], tracks[2], tracks[0]}))
      << "objects are handed rows by listing position: the first object got the bottom row";
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

TEST_F(TracksTest, ObjectsAreReusedByPositionAndTheSurplusDropped) {
  const auto before = _driver->audioTracks();
  report(1, true, true);
  _proTools->removeTrack(1);
  _driver->findAudioTracks();
  const auto after = _driver->audioTracks();
  EXPECT_EQ(after, (std::vector{before[0], before[1]})) << "the second object now stands for what was the third track";
  EXPECT_EQ(after[1]->trackCluster(), _proTools->trackRow(1));
  EXPECT_EQ(after[1]->name(), "FX ");
  EXPECT_EQ(after[1]->inputButton(), _proTools->inputMonitorButton(1));
  EXPECT_TRUE(after[1]->recEnabled() && after[1]->muted()) << "cached flags stay with the object";

  _proTools->addTrack({"ADR", SimProTools::TrackKind::audio});
  _proTools->addTrack({"Loop", SimProTools::TrackKind::aux});
  _driver->findAudioTracks();
  const auto grown = _driver->audioTracks();
  ASSERT_EQ(grown.size(), 4u);
  EXPECT_EQ(std::vector(grown.begin(), grown.begin() + 2), (std::vector{before[0], before[1]}));
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
  // Before: record enable off, then Play; during: Input; after: Mute. Negative frames compare signed.
  const Calls before{"0:rec0", "0:in0"}, during{"0:in1"}, after{"0:in0"};
  const std::tuple<std::int64_t, std::int64_t, std::int64_t, const Calls*> frames[] = {
      {100, 200, 99, &before},       {100, 200, 100, &during},      {100, 200, 200, &during},
      {100, 200, 201, &after},       {100, 200, INT64_MIN, &before}, {100, 200, INT64_MAX, &after},
      {-10, -5, -11, &before},       {-10, -5, -7, &during},        {-10, -5, 0, &after}};
  for (const auto& [in, end, frame, expected] : frames) {
    event->setInPointFrameIndex(in);
    event->setEndFrameIndex(end);
    EXPECT_EQ(at(frame), *expected) << frame;
    EXPECT_EQ(states({0}), expected == &during ? "--I" : expected == &after ? "-M-" : "---") << frame;
  }
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
  EXPECT_EQ(states({0}), "RMI");
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
  EXPECT_EQ(states(), "--I -M- ---");

  report(0, false, true);
  report(1, true, false);
  EXPECT_EQ(apply(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseDuring), (Calls{"0:in0", "1:in0"}))
      << "record enable is touched only before";
  EXPECT_EQ(states(), "--- RM- ---");
  report(0, false, true);
  EXPECT_EQ(apply(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseAfter), (Calls{"1:in0"})) << "Record as a plain state does nothing";
  EXPECT_EQ(states(), "-M- RM- ---");
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
  EXPECT_EQ(states(), "R-- --- ---");
  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseDuring), (Calls{"2:in0"}));
  EXPECT_EQ(states(), "R-- -M- ---") << "the record track stays armed, B stands aside";

  report(0, true, true);
  setInputMonitoring(1, true);
  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseAfter), (Calls{"0:in1", "1:in0", "2:in0"}));
  // A follows its after state, Input; B's input off is dropped by the guard right after A's press,
  // and done a step later.
  EXPECT_EQ(states(), "R-I --I ---");
  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseAfter), (Calls{"0:in1", "1:in0", "2:in0"}));
  EXPECT_EQ(states(), "R-I --- ---");

  // The cue names the second record track: the roles swap.
  event->setRecTrackIndex(1);
  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseBefore),
            (Calls{"0:rec0", "0:in0", "1:rec1", "1:in0", "2:rec0", "2:in0"}));
  EXPECT_EQ(states(), "--- R-- ---");
  apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseDuring);
  EXPECT_EQ(states(), "-M- R-- ---");
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
    EXPECT_EQ(states(), "--- --- ---");
    apply(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseDuring);
    EXPECT_EQ(states(), "-M- --- -M-");
  }
  // Index 0 of the record tracks is position 2, which is then armed in a rehearse too.
  const auto event = cue(0, 10, 0);
  _driver->ZAR_DAWApplication::rehearseWithEvent(event);
  apply(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseBefore);
  EXPECT_EQ(states(), "--- --- R--");
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
  EXPECT_EQ(states({64, 65}), "--- ---");
  report(64, false, true);
  EXPECT_EQ(apply(ZAR_DAWModeRecord, ZAR_DAWEventPhaseDuring), (Calls{"64:in0", "65:in0"}));
  EXPECT_EQ(states({64}), "---");
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

// The tracks' cached record-enable and mute flags against what Pro Tools shows, from the user's
// changes made before the framework started to the first take.
class LampsTest : public zar::test::EnabledProToolsTest {
 protected:
  void SetUp() override {}  // each case starts its own session
  /// A session of `count` tracks; `user` makes changes in Pro Tools before the framework is enabled.
  void start(int count, const std::function<void(SimProTools&)>& user = {}) {
    auto options = defaultOptions();
    options.tracks.clear();
    for (int i = 0; i < count; ++i) options.tracks.push_back({"Dialog " + std::to_string(i + 1)});
    EnabledProToolsTest::start(true, options, user);
  }
  /// Track 0 records during the cue; every other track plays.
  void assignRecordModes() {
    const auto modes = _manager->trackModeList()->audioTrackModes();
    for (std::int32_t i = 0; i < static_cast<std::int32_t>(_proTools->trackCount()); ++i) {
      _manager->muteRecMatrix()->setRecordMode(modes->at(i == 0 ? 3 : 0), i);
    }
  }
  std::shared_ptr<ZAR_DAWAudioTrack> track(std::size_t index) { return _driver->audioTracks().at(index); }
  void expectCachesFollowProTools() {
    for (std::size_t i = 0; i < _proTools->trackCount(); ++i) {
      EXPECT_EQ(track(i)->recEnabled(), _proTools->trackRecEnabled(i)) << "record enable of track " << i;
      EXPECT_EQ(track(i)->muted(), _proTools->trackMuted(i)) << "mute of track " << i;
    }
  }
  std::set<std::size_t> armedInProTools() const {
    std::set<std::size_t> armed;
    for (std::size_t i = 0; i < _proTools->trackCount(); ++i) {
      if (_proTools->trackRecEnabled(i)) armed.insert(i);
    }
    return armed;
  }
  void recordFirstTake() {
    _driver->recordWithEvent(zar::test::takeCue());
    sim.runFor(0.1);
    EXPECT_EQ(_proTools->huiHost()->transportState(), SimHUIHost::TransportState::recording);
  }
};

TEST_F(LampsTest, InASessionOfFortyTracksATrackArmedOutOfViewIsKnownBeforeTheFirstTake) {
  start(40, [](SimProTools& proTools) {
    proTools.setTrackRecEnabled(37, true);
    proTools.setTrackMuted(2, true);
  });
  assignRecordModes();
  ASSERT_TRUE(_driver->huiDevice());
  for (int step = 0; step < 100 && !_driver->huiDevice()->lampsKnown(); ++step) sim.runFor(0.1);
  EXPECT_TRUE(_driver->huiDevice()->lampsKnown());
  EXPECT_TRUE(track(37)->recEnabled());
  EXPECT_TRUE(track(2)->muted());
  expectCachesFollowProTools();

  recordFirstTake();
  EXPECT_EQ(armedInProTools(), (std::set<std::size_t>{0})) << "only the record track records";
  EXPECT_FALSE(_proTools->trackMuted(2)) << "a track that plays is unmuted before the cue";
  expectCachesFollowProTools();
}

}  // namespace
