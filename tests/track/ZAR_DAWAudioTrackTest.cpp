#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/platform/Logger.h"
#include "support/ProToolsTest.h"

namespace {

using zar::platform::AXTypedValue;
using zar::platform::LogFlag;
using zar::platform::MouseEventType;
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
  std::size_t errorLines(const std::string& text) const {
    const auto errors = sim.logger->messages(LogFlag::error);
    return static_cast<std::size_t>(std::count(errors.begin(), errors.end(), text));
  }
  std::vector<std::string> debugLines() const { return sim.logger->messages(LogFlag::debug); }

  std::shared_ptr<SimProTools> _proTools;
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
  const auto a = std::make_shared<ZAR_DAWAudioTrack>(_proTools->trackRow(0));
  const auto b = std::make_shared<ZAR_DAWAudioTrack>(_proTools->trackRow(1));
  _proTools->inputMonitorButton(1)->performAction(zar::ax::kPressAction);  // b's input on
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
  EXPECT_EQ(debugLines().front(), "Dialog 1 ::Setting input enabled state:1");
  EXPECT_EQ(debugLines().at(4), "Walla ::Setting input enabled state:1");
}

// Modes, description and name.

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
  std::shared_ptr<ZAR_DAWApplication> _driver = attach(launchProTools());
};

TEST_F(ApplicationTracksTest, RecordTracksAreThoseWhoseRecordModeRecordsDuringTheCue) {
  constexpr auto Play = ZAR_DAWTrackStatePlay, Record = ZAR_DAWTrackStateRecord;
  EXPECT_TRUE(_driver->recordTracks().empty()) << "all modes null";
  track(2)->setRecordMode(mode(Play, Record, Play));
  track(1)->setRehearseMode(mode(Play, Record, Play));
  track(1)->setReviewMode(mode(Play, Record, Play));
  const auto notRecording = mode(Record, ZAR_DAWTrackStateInput, Record);
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

// Entering a track name in the simulated Pro Tools, with the driver as the manager's current
// application.
class NamingTest : public zar::test::EnabledProToolsTest {
 protected:
  std::shared_ptr<ZAR_DAWAudioTrack> track(std::size_t i) const { return _driver->audioTracks().at(i); }
  std::vector<zar::sim::SimEventPoster::PostedMouseEvent> mouse() const { return sim.desktop->eventPoster()->mouseEvents(); }
  std::int32_t frontmost() const { return sim.desktop->workspace()->frontmostApplication()->processIdentifier(); }
  std::int32_t host() const { return sim.desktop->workspace()->hostApplication()->processIdentifier(); }
};

TEST_F(NamingTest, DoubleClicksTheNameFieldTypesTheNameAndGivesTheHostBackItsPlace) {
  ASSERT_EQ(frontmost(), host());
  sim.desktop->screens()->setMouseLocation({700, 200});
  track(1)->setName("JO_2_101");

  // The field (x 10, y 5 in the row, 140 by 20) is clicked in its centre; the sim's field has
  // only a position and a size.
  const auto field = *_proTools->trackNameField(1)->frame();
  const Point centre{field.origin.x + 70, field.origin.y + 10};
  const auto events = mouse();
  ASSERT_EQ(events.size(), 5u);
  const std::pair<MouseEventType, std::int64_t> clicks[] = {{MouseEventType::leftMouseDown, 1}, {MouseEventType::leftMouseUp, 1},
                                                            {MouseEventType::leftMouseDown, 2}, {MouseEventType::leftMouseUp, 2}};
  for (std::size_t i = 0; i < std::size(clicks); ++i) {
    EXPECT_EQ(events[i].event.type, clicks[i].first) << i;
    EXPECT_EQ(events[i].event.clickState, clicks[i].second) << i;
    EXPECT_EQ(events[i].event.location, centre) << i;
    EXPECT_EQ(events[i].event.button, zar::platform::MouseButton::left);
    EXPECT_EQ(events[i].time, events[0].time) << "the clicks follow each other without a pause";
  }
  EXPECT_EQ(events[4].event.type, MouseEventType::mouseMoved);
  EXPECT_EQ(events[4].event.location, (Point{700, 880})) << "the pointer goes back where it was";

  const auto scripts = sim.desktop->appleScript()->executions();
  ASSERT_EQ(scripts.size(), 1u) << "typed through the script";
  EXPECT_EQ(_proTools->trackName(1), "JO_2_101");
  EXPECT_EQ(track(1)->name(), "JO_2_101 ") << "nothing is stored: the name is read back from the row";
  EXPECT_EQ(_proTools->trackName(0), "Dialog 1");
  EXPECT_EQ(frontmost(), host());

  sim.desktop->workspace()->activate(_proTools->processIdentifier());
  track(0)->setName("ADR");
  EXPECT_EQ(_proTools->trackName(0), "ADR");
  EXPECT_EQ(frontmost(), _proTools->processIdentifier()) << "an inactive host is not brought forward";
}

TEST_F(NamingTest, ThePointerIsConvertedByTheScreenThatHoldsIt) {
  sim.desktop->screens()->setScreenFrames({{{0, 0}, {1920, 1080}}, {{1920, 0}, {1280, 1024}}});
  const auto restored = [&](Point cocoa) {
    sim.desktop->screens()->setMouseLocation(cocoa);
    sim.desktop->eventPoster()->clearLog();
    track(2)->setName("X");
    return mouse().back().event.location;
  };
  EXPECT_EQ(restored({2000, 100}), (Point{2000, 924})) << "with the second screen's height";
  EXPECT_EQ(restored({-300, 5000}), (Point{-300, 5000})) << "outside every screen: unchanged";
  EXPECT_EQ(restored({0, 0}), (Point{0, 1080})) << "the bottom-left corner belongs to the screen";
  EXPECT_EQ(restored({1920, 1080}), (Point{1920, 1080})) << "the top edge of either screen is outside it";
}

TEST_F(NamingTest, AFrameAttributeIsPreferredToPositionAndSize) {
  const auto field = _proTools->trackNameField(0);
  field->setAttribute(zar::ax::kFrameAttribute, AXTypedValue::rect({{100, 200}, {50, 30}}));
  track(0)->setName("Y");
  EXPECT_EQ(mouse().front().event.location, (Point{125, 215}));

  field->setAttribute(zar::ax::kFrameAttribute, AXTypedValue::rect(zar::platform::zeroRect));
  field->setAttribute(zar::ax::kPositionAttribute, AXTypedValue::point({300, 400}));
  field->removeAttribute(zar::ax::kSizeAttribute);
  sim.desktop->eventPoster()->clearLog();
  track(0)->setName("Z");
  EXPECT_EQ(mouse().front().event.location, (Point{300, 400})) << "a missing size is zero";
}

TEST_F(NamingTest, NothingIsClickedWithoutANameFieldAndNothingTypedWithoutACurrentApplication) {
  ZAR_DAWAudioTrack loose(_proTools->makeElement(zar::ax::kGroupRole, std::string("Loose - Audio Track ")));
  sim.logger->clear();
  loose.setName("Nobody");
  EXPECT_TRUE(mouse().empty());
  EXPECT_TRUE(sim.desktop->appleScript()->executions().empty());
  ASSERT_EQ(sim.logger->statements().size(), 1u);
  EXPECT_EQ(sim.logger->statements()[0].flag, zar::platform::LogFlag::error);

  const auto kept = track(0);
  _manager->setEnabled(false);
  kept->setName("Lost");
  EXPECT_TRUE(sim.desktop->appleScript()->executions().empty());
  EXPECT_EQ(_proTools->trackName(0), "Dialog 1");
  EXPECT_EQ(mouse().size(), 5u) << "the double-click and the pointer's return still happen";
}

}  // namespace
