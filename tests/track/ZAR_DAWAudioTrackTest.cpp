#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/Logger.h"
#include "support/ProToolsTest.h"

namespace {

using zar::platform::AXTypedValue;
using zar::platform::LogFlag;
using zar::platform::Point;
using zar::platform::Rect;
using zar::sim::SimElement;
using zar::sim::SimProTools;

constexpr const char* kNoNameLine = "Couldn't get name of track cluster";

class AudioTrackTest : public zar::test::ProToolsTest {
 protected:
  void SetUp() override {
    _proTools = launchProTools();
    ZAR_DAWApplicationManager::sharedManager();  // its start-up logging is over before a test looks
    sim.logger->clear();
  }
  void TearDown() override { ddLogLevel = _savedLogLevel; }

  std::shared_ptr<SimElement> row(const std::optional<std::string>& title = std::string("Dialog 1 - Audio Track ")) {
    return _proTools->makeElement(zar::ax::kGroupRole, title);
  }
  std::shared_ptr<SimElement> child(const std::shared_ptr<SimElement>& parent, const std::string& title,
                                    const std::string& role = zar::ax::kButtonRole) {
    return parent->addChild(_proTools->makeElement(role, title));
  }
  // A track on a row whose input-monitor button shows `value`.
  std::shared_ptr<ZAR_DAWAudioTrack> trackWithInput(const std::string& title, const std::string& value) {
    const auto cluster = row(title);
    auto button = child(cluster, "TrackInput Monitor");
    button->setAttribute(zar::ax::kValueAttribute, value);
    button->addAction(zar::ax::kPressAction, "press", [this, weak = std::weak_ptr<SimElement>(button)] {
      const auto pressed = weak.lock();
      _presses.push_back(pressed);
      const auto shown = pressed->attribute(zar::ax::kValueAttribute);
      pressed->setAttribute(zar::ax::kValueAttribute,
                            std::string(shown && *shown->get<std::string>() == "on" ? "off" : "on"));
    });
    return std::make_shared<ZAR_DAWAudioTrack>(cluster);
  }
  std::size_t errorLines(const std::string& text) const {
    std::size_t count = 0;
    for (const auto& statement : sim.logger->statements()) count += statement.flag == LogFlag::error && statement.message == text;
    return count;
  }
  std::vector<std::string> debugLines() const {
    std::vector<std::string> lines;
    for (const auto& statement : sim.logger->statements()) {
      if (statement.flag == LogFlag::debug) lines.push_back(statement.message);
    }
    return lines;
  }

  std::shared_ptr<SimProTools> _proTools;
  std::vector<std::shared_ptr<SimElement>> _presses;
  std::int32_t _savedLogLevel = ddLogLevel;
};

// The row and its elements.

TEST_F(AudioTrackTest, YPosComesFromTheFrameOrElseThePosition) {
  const auto cluster = row();
  EXPECT_FLOAT_EQ(ZAR_DAWAudioTrack(cluster).yPos(), 0.0f) << "neither";
  cluster->setAttribute(zar::ax::kFrameAttribute, AXTypedValue::rect({{5, 410.5}, {800, 60}}));
  cluster->setAttribute(zar::ax::kPositionAttribute, AXTypedValue::point({5, 999}));
  ZAR_DAWAudioTrack track(cluster);
  EXPECT_FLOAT_EQ(track.yPos(), 410.5f) << "the frame wins over the position";

  cluster->setAttribute(zar::ax::kFrameAttribute, AXTypedValue::rect(zar::platform::zeroRect));
  track.setTrackCluster(cluster);
  EXPECT_FLOAT_EQ(track.yPos(), 999.0f) << "a zero frame falls back to the position";

  cluster->setAttribute(zar::ax::kFrameAttribute, AXTypedValue::rect({{0, 0}, {800, 0}}));
  track.setTrackCluster(cluster);
  EXPECT_FLOAT_EQ(track.yPos(), 0.0f) << "a frame at the origin with a size is not the zero frame";

  cluster->setAttribute(zar::ax::kFrameAttribute, AXTypedValue::point({0, 50}));
  track.setTrackCluster(cluster);
  EXPECT_FLOAT_EQ(track.yPos(), 999.0f) << "a frame that isn't a rectangle counts as missing";

  cluster->removeAttribute(zar::ax::kFrameAttribute);
  cluster->setAttribute(zar::ax::kPositionAttribute, std::string("not a point"));
  track.setTrackCluster(cluster);
  EXPECT_FLOAT_EQ(track.yPos(), 0.0f);

  const auto unlisted = row();
  unlisted->setAttribute(zar::ax::kFrameAttribute, AXTypedValue::rect({{0, 77}, {10, 10}}), false);
  unlisted->setAttribute(zar::ax::kPositionAttribute, AXTypedValue::point({0, 66}));
  EXPECT_FLOAT_EQ(ZAR_DAWAudioTrack(unlisted).yPos(), 66.0f) << "a frame the row doesn't list is not read";
}

TEST_F(AudioTrackTest, ChildrenAreFoundByExactTitlesAndTheLaterOneWins) {
  const auto cluster = row();
  const auto name = child(cluster, "Audio 1 Track name field", zar::ax::kTextFieldRole);
  child(cluster, "track name", zar::ax::kTextFieldRole);
  const auto rec = child(cluster, "Track Record Enable");
  child(cluster, "Track Record Enable ");
  const auto input = child(cluster, "TrackInput Monitor");
  child(cluster, "Trackinput Monitor");
  child(cluster, "Mute");
  const auto secondMute = child(cluster, "Mute");
  child(cluster, "mute");
  child(cluster, "Mute ")->setFailure(zar::platform::AXError::cannotComplete);
  const ZAR_DAWAudioTrack track(cluster);
  EXPECT_EQ(track.nameTextField(), name);
  EXPECT_EQ(track.recButton(), rec);
  EXPECT_EQ(track.inputButton(), input);
  EXPECT_EQ(track.muteButton(), secondMute);

  const auto other = row();
  const auto suffixed = child(other, "Track names");
  const ZAR_DAWAudioTrack second(other);
  EXPECT_EQ(second.nameTextField(), suffixed) << "text after the marker is fine too";
}

TEST_F(AudioTrackTest, ANewRowKeepsElementsItDoesntHave) {
  const auto first = row();
  const auto oldMute = child(first, "Mute");
  const auto oldRec = child(first, "Track Record Enable");
  ZAR_DAWAudioTrack track(first);

  const auto second = row();
  const auto newRec = child(second, "Track Record Enable");
  track.setTrackCluster(second);
  EXPECT_EQ(track.trackCluster(), second);
  EXPECT_EQ(track.recButton(), newRec);
  EXPECT_EQ(track.muteButton(), oldMute) << "the scan clears nothing";

  second->setFailure(zar::platform::AXError::invalidUIElement);
  track.setTrackCluster(second);
  EXPECT_EQ(track.recButton(), newRec);
  EXPECT_NE(track.recButton(), oldRec);
}

// Record enable and mute.

TEST_F(AudioTrackTest, FlagsAreCachedAndOnlyRecordEnableIsLoggedOnEveryCall) {
  ddLogLevel = zar::platform::LogLevelDebug;
  ZAR_DAWAudioTrack track(row("Dialog 1 - Audio Track "));
  EXPECT_EQ(track.index(), 0);
  EXPECT_FALSE(track.recEnabled() || track.muted());
  for (const auto& [value, toggle] : {std::pair{false, true}, {true, true}, {true, false}, {false, false}}) {
    track.setRecEnabled(value, toggle);
    EXPECT_EQ(track.recEnabled(), value);
    track.setMuted(!value, toggle);
    EXPECT_EQ(track.muted(), !value);
  }
  EXPECT_EQ(debugLines(), (std::vector<std::string>{"Dialog 1 ::Setting rec enabled state:0",
                                                     "Dialog 1 ::Setting rec enabled state:1",
                                                     "Dialog 1 ::Setting rec enabled state:1",
                                                     "Dialog 1 ::Setting rec enabled state:0"}));
  track._muted = false;
  EXPECT_FALSE(track.muted()) << "the published field is the flag";

  ddLogLevel = zar::platform::LogLevelInfo;
  sim.logger->clear();
  ZAR_DAWAudioTrack unnamed(row("no marker"));
  unnamed.setRecEnabled(true, true);
  EXPECT_TRUE(sim.logger->statements().empty()) << "the name isn't even read without debug logging";
}

// Input monitoring.

TEST_F(AudioTrackTest, OnlyTheExactValueOnReadsAsOn) {
  EXPECT_TRUE(trackWithInput("A - Audio Track", "on")->inputEnabled());
  for (const std::string value : {"On", "ON", "off", "", "on "}) {
    EXPECT_FALSE(trackWithInput("A - Audio Track", value)->inputEnabled()) << value;
  }
  const auto cluster = row();
  child(cluster, "TrackInput Monitor")->setAttribute(zar::ax::kValueAttribute, AXTypedValue::point({1, 1}));
  EXPECT_FALSE(ZAR_DAWAudioTrack(cluster).inputEnabled());
  const auto numbered = row();
  child(numbered, "TrackInput Monitor")->setAttribute(zar::ax::kValueAttribute, 1.0);
  EXPECT_FALSE(ZAR_DAWAudioTrack(numbered).inputEnabled()) << "a number reads as off";
  EXPECT_FALSE(ZAR_DAWAudioTrack(row()).inputEnabled()) << "no button";
}

// One press per fifth of a second across all tracks: a request within 0.2 s of the last press is
// dropped; one that finds the button showing the state presses nothing and leaves the stamp; a
// track without a button "presses" all the same.
TEST_F(AudioTrackTest, OnePressPerFifthOfASecondAcrossAllTracks) {
  ddLogLevel = zar::platform::LogLevelDebug;
  ZAR_DAWAudioTrack noButton(row("Walla - Audio Track "));
  const auto a = trackWithInput("A - Audio Track", "off");
  const auto b = trackWithInput("B - Audio Track", "on");
  sim.clock->advanceBy(10);
  a->setInputEnabled(true);
  EXPECT_TRUE(a->inputEnabled());
  sim.clock->advanceBy(0.19);
  b->setInputEnabled(false);
  EXPECT_TRUE(b->inputEnabled()) << "dropped: another track was pressed 0.19 s ago";
  sim.clock->advanceBy(0.02);
  a->setInputEnabled(true);  // shown already: no press, the stamp stays
  sim.clock->advanceBy(0.01);
  b->setInputEnabled(false);
  EXPECT_FALSE(b->inputEnabled());
  sim.clock->advanceBy(0.3);
  noButton.setInputEnabled(true);
  sim.clock->advanceBy(0.1);
  a->setInputEnabled(false);
  EXPECT_TRUE(a->inputEnabled()) << "the missing button's press was stamped";
  EXPECT_EQ(_presses.size(), 2u);
  EXPECT_EQ(debugLines().front(), "A ::Setting input enabled state:1");
  EXPECT_EQ(debugLines().at(4), "Walla ::Setting input enabled state:1");
}

// Modes, description and name.

TEST_F(AudioTrackTest, ModesLiveInTheMatrixAtTheIndex) {
  const auto matrix = ZAR_DAWApplicationManager::sharedManager()->muteRecMatrix();
  const auto rehearse = std::make_shared<ZAR_DAWAudioTrackMode>();
  const auto record = std::make_shared<ZAR_DAWAudioTrackMode>();
  const auto review = std::make_shared<ZAR_DAWAudioTrackMode>();
  ZAR_DAWAudioTrack track(row());
  track.setIndex(5);
  track.setRehearseMode(rehearse);
  track.setRecordMode(record);
  track.setReviewMode(review);
  EXPECT_EQ(matrix->rehearseModeAtTrackIndex(5), rehearse);
  EXPECT_EQ(matrix->recordModeAtTrackIndex(5), record);
  EXPECT_EQ(matrix->reviewModeAtTrackIndex(5), review);
  EXPECT_EQ(track.recordMode(), record);

  track.setIndex(6);
  EXPECT_EQ(track.rehearseMode(), ZAR_DAWAudioTrackMode::nullTrackMode()) << "the mode belongs to the position";
  matrix->setReviewMode(review, 6);
  EXPECT_EQ(track.reviewMode(), review);

  track.setIndex(64);
  EXPECT_EQ(track.rehearseMode(), nullptr) << "beyond the matrix there is no mode";
  track.setRecordMode(record);
  EXPECT_EQ(track.recordMode(), nullptr);
  track.setIndex(-1);
  EXPECT_EQ(track.reviewMode(), nullptr);
}

TEST_F(AudioTrackTest, DescriptionShowsNameFlagsAndModes) {
  const auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
  mode->setName("Voice");
  ZAR_DAWAudioTrack track(row("Dialog 1 - Audio Track "));
  track.setIndex(3);
  track.setRecordMode(mode);
  track.setMuted(true, false);
  EXPECT_EQ(track.description(),
            fmt::format("Track ({}): Dialog 1  - Rec: 0 - Mute: 1 - Modes:: Rehearse: none, Record: Voice, Review: none",
                        static_cast<const void*>(&track)));
  track.setIndex(70);
  track.setRecEnabled(true, false);
  EXPECT_EQ(track.description(),
            fmt::format("Track ({}): Dialog 1  - Rec: 1 - Mute: 1 - Modes:: Rehearse: (null), Record: (null), Review: (null)",
                        static_cast<const void*>(&track)));
}

TEST_F(AudioTrackTest, TheNameIsTheTitleBeforeTheFirstMarkerInListOrder) {
  const auto name = [&](const std::string& title) { return ZAR_DAWAudioTrack(row(title)).name(); };
  EXPECT_EQ(name("Dialog 1 - Audio Track "), "Dialog 1 ");
  EXPECT_EQ(name("Bus - Aux Track "), "Bus ");
  EXPECT_EQ(name("Bus auxiliary track"), "Bus");
  EXPECT_EQ(name("Dialog audio track"), "Dialog");
  EXPECT_EQ(name("X audio track Y- Audio Track"), "X audio track Y") << "the dash marker comes first in priority";
  EXPECT_EQ(name("A- Audio Track B- Audio Track"), "A") << "its first occurrence";
  EXPECT_EQ(name("FX- Aux Track  audio track"), "FX- Aux Track ") << "the audio marker outranks the aux one";
  EXPECT_EQ(name("- Audio Track"), "");
  EXPECT_TRUE(errorLines(kNoNameLine) == 0) << "a marker at the start gives an empty name without complaint";

  EXPECT_EQ(name("Dialog 1 Audio Track"), "");
  EXPECT_EQ(errorLines(kNoNameLine), 1u) << "capitals without a dash match nothing";
  EXPECT_EQ(name("Bus aux track"), "");
  EXPECT_EQ(name("Dialog 1 - audio Track"), "");
  EXPECT_EQ(errorLines(kNoNameLine), 3u);

  EXPECT_EQ(ZAR_DAWAudioTrack(row(std::nullopt)).name(), "");
  const auto broken = row();
  const ZAR_DAWAudioTrack gone(broken);
  broken->invalidate();
  EXPECT_EQ(gone.name(), "");
  EXPECT_EQ(errorLines(kNoNameLine), 3u) << "an unreadable title is not logged";
}

// The application's record tracks and HUI feedback.

class ApplicationTracksTest : public zar::test::ProToolsTest {
 protected:
  void SetUp() override {
    _proTools = launchProTools();
    _driver = ZAR_DAWApplication::createWithType(ZAR_DAWApplicationTypeProTools, running(_proTools));
    ASSERT_TRUE(_driver);
    ASSERT_EQ(_driver->audioTracks().size(), 3u);
  }
  std::shared_ptr<ZAR_DAWAudioTrack> track(std::size_t i) const { return _driver->audioTracks().at(i); }
  static std::shared_ptr<ZAR_DAWAudioTrackMode> recording(ZAR_DAWTrackState during = ZAR_DAWTrackStateRecord) {
    auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
    mode->setDuringState(during);
    return mode;
  }

  std::shared_ptr<SimProTools> _proTools;
  std::shared_ptr<ZAR_DAWApplication> _driver;
};

TEST_F(ApplicationTracksTest, RecordTracksAreThoseWhoseRecordModeRecordsDuringTheCue) {
  EXPECT_TRUE(_driver->recordTracks().empty()) << "all modes null";
  track(2)->setRecordMode(recording());
  track(1)->setRehearseMode(recording());
  track(1)->setReviewMode(recording());
  const auto notRecording = recording(ZAR_DAWTrackStateInput);
  notRecording->setBeforeState(ZAR_DAWTrackStateRecord);
  notRecording->setAfterState(ZAR_DAWTrackStateRecord);
  track(0)->setRecordMode(notRecording);
  EXPECT_EQ(_driver->recordTracks(), (std::vector{track(2)}));

  track(0)->setRecordMode(recording());
  EXPECT_EQ(_driver->recordTracks(), (std::vector{track(0), track(2)})) << "in track order";
  notRecording->setDuringState(ZAR_DAWTrackStateRecord);
  track(1)->setRecordMode(notRecording);
  EXPECT_EQ(_driver->recordTracks(), (std::vector{track(0), track(1), track(2)}));
  notRecording->setDuringState(ZAR_DAWTrackStateMute);
  EXPECT_EQ(_driver->recordTracks(), (std::vector{track(0), track(2)})) << "a change of the mode shows at once";

  _driver->setAudioTracks({});
  EXPECT_TRUE(_driver->recordTracks().empty());
}

TEST_F(ApplicationTracksTest, RecordTracksBeyondTheMatrixDontQualify) {
  track(0)->setRecordMode(recording());
  track(0)->setIndex(64);
  EXPECT_TRUE(_driver->recordTracks().empty());
}

TEST_F(ApplicationTracksTest, HUIFeedbackSetsTheCachedFlagOfTheTrackAtThePosition) {
  _driver->huiDeviceMuteStateChangedForChannel(2, true);
  EXPECT_TRUE(track(2)->muted());
  EXPECT_FALSE(track(2)->recEnabled());
  _driver->huiDeviceRecordStateChangedForChannel(2, true);
  EXPECT_TRUE(track(2)->recEnabled());
  _driver->huiDeviceRecordStateChangedForChannel(0, true);
  EXPECT_TRUE(track(0)->recEnabled());
  EXPECT_FALSE(track(1)->recEnabled() || track(1)->muted());
  _driver->huiDeviceMuteStateChangedForChannel(2, false);
  EXPECT_FALSE(track(2)->muted());

  for (const std::int32_t channel : {-1, 3, 64, INT32_MIN, INT32_MAX}) {
    _driver->huiDeviceMuteStateChangedForChannel(channel, true);
    _driver->huiDeviceRecordStateChangedForChannel(channel, false);
  }
  EXPECT_FALSE(track(0)->muted() || track(1)->muted() || track(2)->muted());
  EXPECT_TRUE(track(0)->recEnabled() && track(2)->recEnabled());
}

TEST_F(ApplicationTracksTest, HUIFeedbackFollowsThePositionNotTheIndex) {
  auto tracks = _driver->audioTracks();
  std::swap(tracks[0], tracks[1]);
  _driver->setAudioTracks(tracks);
  _driver->huiDeviceMuteStateChangedForChannel(0, true);
  EXPECT_TRUE(tracks[0]->muted());
  EXPECT_EQ(tracks[0]->index(), 1);
}

}  // namespace
