#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

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
    const auto errors = sim.logger->messages(LogFlag::error);
    return static_cast<std::size_t>(std::count(errors.begin(), errors.end(), text));
  }
  std::vector<std::string> debugLines() const { return sim.logger->messages(LogFlag::debug); }

  std::shared_ptr<SimProTools> _proTools;
  std::vector<std::shared_ptr<SimElement>> _presses;
  std::int32_t _savedLogLevel = ddLogLevel;
};

// The row and its elements.

TEST_F(AudioTrackTest, YPosComesFromAListedNonZeroFrameOrElseThePosition) {
  using Value = std::optional<zar::platform::AXAttributeValue>;
  const Value position = AXTypedValue::point({5, 999});
  const std::tuple<Value, bool, Value, float> rows[] = {
      {std::nullopt, true, std::nullopt, 0.0f},
      {AXTypedValue::rect({{5, 410.5}, {800, 60}}), true, position, 410.5f},  // the frame wins
      {AXTypedValue::rect(zar::platform::zeroRect), true, position, 999.0f},  // the zero frame doesn't count
      {AXTypedValue::rect({{0, 0}, {800, 0}}), true, position, 0.0f},         // a frame with a size does
      {AXTypedValue::point({0, 50}), true, position, 999.0f},                 // not a rectangle: missing
      {AXTypedValue::rect({{0, 77}, {10, 10}}), false, position, 999.0f},     // not listed: not read
      {std::nullopt, true, zar::platform::AXAttributeValue("not a point"), 0.0f}};
  for (const auto& [frame, listed, pos, y] : rows) {
    const auto cluster = row();
    if (frame) cluster->setAttribute(zar::ax::kFrameAttribute, *frame, listed);
    if (pos) cluster->setAttribute(zar::ax::kPositionAttribute, *pos);
    EXPECT_FLOAT_EQ(ZAR_DAWAudioTrack(cluster).yPos(), y);
  }
}

TEST_F(AudioTrackTest, ChildrenAreFoundByExactTitlesTheLaterOneWinsAndANewRowKeepsWhatItLacks) {
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
  ZAR_DAWAudioTrack track(cluster);
  EXPECT_EQ(track.trackCluster(), cluster);
  EXPECT_EQ(track.nameTextField(), name) << "text around the marker is fine";
  EXPECT_EQ(track.recButton(), rec);
  EXPECT_EQ(track.inputButton(), input);
  EXPECT_EQ(track.muteButton(), secondMute);

  const auto second = row();
  const auto newRec = child(second, "Track Record Enable");
  track.setTrackCluster(second);
  EXPECT_EQ(track.recButton(), newRec);
  EXPECT_EQ(track.muteButton(), secondMute) << "the scan clears nothing";
  second->setFailure(zar::platform::AXError::invalidUIElement);
  track.setTrackCluster(second);
  EXPECT_EQ(track.recButton(), newRec);
}

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

TEST_F(AudioTrackTest, OnlyTheExactTextOnReadsAsOn) {
  using zar::platform::AXAttributeValue;
  for (const auto& [value, on] : {std::pair{AXAttributeValue("on"), true}, {AXAttributeValue("On"), false},
                                  {AXAttributeValue("on "), false}, {AXAttributeValue(""), false},
                                  {AXAttributeValue(1.0), false}, {AXAttributeValue(AXTypedValue::point({1, 1})), false}}) {
    const auto cluster = row();
    child(cluster, "TrackInput Monitor")->setAttribute(zar::ax::kValueAttribute, value);
    EXPECT_EQ(ZAR_DAWAudioTrack(cluster).inputEnabled(), on);
  }
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

TEST_F(AudioTrackTest, TheNameIsTheTitleBeforeTheFirstMarkerInListOrderOrAnErrorIsLogged) {
  const std::tuple<std::optional<std::string>, const char*, std::size_t> names[] = {
      {"Dialog 1 - Audio Track ", "Dialog 1 ", 0},
      {"Bus - Aux Track ", "Bus ", 0},
      {"Bus auxiliary track", "Bus", 0},
      {"Dialog audio track", "Dialog", 0},
      {"X audio track Y- Audio Track", "X audio track Y", 0},  // the dash marker comes first in priority
      {"A- Audio Track B- Audio Track", "A", 0},               // at its first occurrence
      {"FX- Aux Track  audio track", "FX- Aux Track ", 0},     // the audio marker outranks the aux one
      {"- Audio Track", "", 0},                                // at the start: empty, without complaint
      {"Dialog 1 Audio Track", "", 1},                         // capitals without a dash match nothing
      {"Bus aux track", "", 1},
      {"Dialog 1 - audio Track", "", 1},
      {std::nullopt, "", 0}};                                  // no title: nothing to complain about
  for (const auto& [title, name, errors] : names) {
    sim.logger->clear();
    EXPECT_EQ(ZAR_DAWAudioTrack(row(title)).name(), name) << title.value_or("(none)");
    EXPECT_EQ(errorLines(kNoNameLine), errors) << title.value_or("(none)");
  }
  const auto broken = row();
  const ZAR_DAWAudioTrack gone(broken);
  broken->invalidate();
  EXPECT_EQ(gone.name(), "");
  EXPECT_EQ(errorLines(kNoNameLine), 0u) << "an unreadable title is not logged";
}

// The application's record tracks and HUI feedback.

class ApplicationTracksTest : public zar::test::ProToolsTest {
 protected:
  void SetUp() override { ASSERT_EQ(_driver->audioTracks().size(), 3u); }
  std::shared_ptr<ZAR_DAWAudioTrack> track(std::size_t i) const { return _driver->audioTracks().at(i); }
  static std::shared_ptr<ZAR_DAWAudioTrackMode> recording(ZAR_DAWTrackState during = ZAR_DAWTrackStateRecord) {
    auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
    mode->setDuringState(during);
    return mode;
  }
  std::shared_ptr<ZAR_DAWApplication> _driver = attach(launchProTools());
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
  notRecording->setDuringState(ZAR_DAWTrackStateRecord);
  EXPECT_EQ(_driver->recordTracks(), (std::vector{track(0), track(2)})) << "in track order, read at every call";
  _driver->setAudioTracks({});
  EXPECT_TRUE(_driver->recordTracks().empty());
}

TEST_F(ApplicationTracksTest, HUIFeedbackSetsTheCachedFlagOfTheTrackAtThePosition) {
  auto tracks = _driver->audioTracks();
  std::swap(tracks[0], tracks[1]);
  _driver->setAudioTracks(tracks);
  _driver->huiDeviceMuteStateChangedForChannel(0, true);
  EXPECT_TRUE(tracks[0]->muted()) << "the position counts, not the index";
  EXPECT_EQ(tracks[0]->index(), 1);
  _driver->huiDeviceRecordStateChangedForChannel(2, true);
  EXPECT_TRUE(track(2)->recEnabled());
  EXPECT_FALSE(track(2)->muted() || track(1)->recEnabled() || track(1)->muted());
  _driver->huiDeviceMuteStateChangedForChannel(0, false);
  EXPECT_FALSE(track(0)->muted());
  for (const std::int32_t channel : {-1, 3, 64, INT32_MIN, INT32_MAX}) {
    _driver->huiDeviceMuteStateChangedForChannel(channel, true);
    _driver->huiDeviceRecordStateChangedForChannel(channel, false);
  }
  EXPECT_FALSE(track(0)->muted() || track(1)->muted() || track(2)->muted());
  EXPECT_TRUE(track(2)->recEnabled());
}

}  // namespace
