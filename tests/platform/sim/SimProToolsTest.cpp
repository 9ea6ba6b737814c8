#include <gtest/gtest.h>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"
#include "ZAR_DAWControl/platform/sim/SimProTools.h"
#include "support/SimPlatform.h"

namespace {

using zar::platform::AXAttributeValue;
using zar::platform::AXError;
using zar::platform::KeyboardEvent;
using zar::platform::MouseEvent;
using zar::platform::MouseEventType;
using zar::platform::Point;
using zar::sim::SimProTools;

class SimProToolsTest : public testing::Test {
 protected:
  void SetUp() override { launch({}); }

  void launch(SimProTools::Options options) {
    if (_proTools) _sim.desktop->workspace()->quit(_proTools->processIdentifier());
    options.processIdentifier = _sim.desktop->workspace()->unusedProcessIdentifier();
    if (options.tracks.empty()) {
      options.tracks = {{"Dialog 1"}, {"Dialog 2"}, {"FX", SimProTools::TrackKind::aux}};
    }
    _proTools = std::make_shared<SimProTools>(options);
    ASSERT_TRUE(_sim.desktop->workspace()->launch(_proTools));
  }

  zar::platform::ProcessSerialNumber psn() {
    zar::platform::ProcessSerialNumber number;
    _sim.desktop->workspace()->getProcessForPID(_proTools->processIdentifier(), number);
    return number;
  }

  // Types digits and Return as bare key codes, as the framework's older typing route does.
  void typeDigits(const std::string& digits) {
    for (const char c : digits) {
      const auto key = zar::platform::KeyboardLayout::keyCodeForCharacter(static_cast<char32_t>(c));
      ASSERT_TRUE(key.has_value());
      for (const bool down : {true, false}) {
        KeyboardEvent event;
        event.keyCode = key->keyCode;
        event.keyDown = down;
        _sim.desktop->eventPoster()->postKeyboardEvent(psn(), event);
      }
    }
    for (const bool down : {true, false}) {
      KeyboardEvent event;
      event.keyCode = 36;
      event.keyDown = down;
      _sim.desktop->eventPoster()->postKeyboardEvent(psn(), event);
    }
  }

  void click(Point point, int clickState) {
    MouseEvent event;
    event.location = point;
    event.clickState = clickState;
    for (const auto type : {MouseEventType::leftMouseDown, MouseEventType::leftMouseUp}) {
      event.type = type;
      _sim.desktop->eventPoster()->postMouseEvent(event);
    }
  }

  static Point centre(const std::shared_ptr<zar::sim::SimElement>& element) {
    const auto frame = element->frame();
    return Point{frame->origin.x + frame->size.width / 2, frame->origin.y + frame->size.height / 2};
  }

  static std::optional<AXAttributeValue> value(const std::shared_ptr<zar::sim::SimElement>& element) {
    AXAttributeValue v;
    if (element->copyAttributeValue(zar::ax::kValueAttribute, v) != AXError::success) return std::nullopt;
    return v;
  }

  zar::test::SimPlatform _sim;
  std::shared_ptr<SimProTools> _proTools;
};

TEST_F(SimProToolsTest, PresentsTheEditWindowCountersAndTrackRows) {
  EXPECT_EQ(_proTools->info().bundleIdentifier, "com.avid.ProTools");
  EXPECT_EQ(_proTools->info().infoDictionary.at("CFBundleVersion"), zar::platform::PropertyValue("12.5.0"));
  const auto window = _proTools->editWindow();
  ASSERT_TRUE(window);
  EXPECT_EQ(window->title(), "Edit: Dialogue Session");
  EXPECT_EQ(_proTools->windows().front(), window);

  const auto children = window->children();
  ASSERT_EQ(children.size(), 4u);
  EXPECT_EQ(children[0]->title(), "Counter Display Cluster");
  const auto counters = children[0]->children();
  ASSERT_EQ(counters.size(), 2u);
  EXPECT_EQ(counters[0]->title(), "Edit Selection Start");
  EXPECT_EQ(counters[1]->title(), "Edit Selection End");
  EXPECT_EQ(value(counters[0]), AXAttributeValue("01:00:00:00"));
  EXPECT_EQ(value(counters[1]), AXAttributeValue("01:00:10:00"));

  EXPECT_EQ(children[1]->title(), "Dialog 1 - Audio Track ");
  EXPECT_EQ(children[3]->title(), "FX - Aux Track ");
  EXPECT_EQ(children[1]->attribute(zar::ax::kRoleAttribute), AXAttributeValue(zar::ax::kGroupRole));
  std::vector<std::optional<std::string>> controls;
  for (const auto& control : children[1]->children()) controls.push_back(control->title());
  EXPECT_EQ(controls, (std::vector<std::optional<std::string>>{"Track name", "Track Record Enable",
                                                               "TrackInput Monitor", "Mute"}));
  // Rows lie top to bottom in track order.
  EXPECT_LT(children[1]->frame()->origin.y, children[2]->frame()->origin.y);
}

TEST_F(SimProToolsTest, CounterEntryTakesTypedDigitsOnReturn) {
  const auto start = _proTools->selectionStartField();
  ASSERT_EQ(start->performAction(zar::ax::kPressAction), AXError::success);
  EXPECT_TRUE(_proTools->counterEntryOpen());
  typeDigits("00123410");
  EXPECT_FALSE(_proTools->counterEntryOpen());
  EXPECT_EQ(value(start), AXAttributeValue("00:12:34:10"));

  _proTools->selectionEndField()->performAction(zar::ax::kPressAction);
  typeDigits("01000000");
  EXPECT_EQ(value(_proTools->selectionEndField()), AXAttributeValue("01:00:00:00"));

  // Digits typed while no counter is open change nothing; an impossible time is refused.
  typeDigits("02000000");
  EXPECT_EQ(value(_proTools->selectionEndField()), AXAttributeValue("01:00:00:00"));
  start->performAction(zar::ax::kPressAction);
  typeDigits("00006000");
  EXPECT_EQ(value(start), AXAttributeValue("00:12:34:10"));
}

TEST_F(SimProToolsTest, CountersShowEveryTimeFormat) {
  _proTools->setSelection(TCTime{0, 1, 30, 15, 0, 100, 0}, TCTime{1, 0, 0, 0, 0, 100, 0});
  const auto start = _proTools->selectionStartField();
  const std::pair<SimProTools::TimeFormat, const char*> expected[] = {
      {SimProTools::TimeFormat::timecode, "00:01:30:15"}, {SimProTools::TimeFormat::barsBeats, "46| 2| 000"},
      {SimProTools::TimeFormat::minSecs, "1:30.500"},     {SimProTools::TimeFormat::samples, "4344000"},
      {SimProTools::TimeFormat::feetFrames, "135+12"},
  };
  for (const auto& [format, text] : expected) {
    _proTools->setTimeFormat(format);
    EXPECT_EQ(value(start), AXAttributeValue(text));
  }
}

TEST_F(SimProToolsTest, InputMonitorButtonFlipsWhenPressed) {
  const auto input = _proTools->inputMonitorButton(1);
  EXPECT_EQ(value(input), AXAttributeValue("off"));
  input->performAction(zar::ax::kPressAction);
  EXPECT_EQ(value(input), AXAttributeValue("on"));
  EXPECT_TRUE(_proTools->inputMonitoring(1));
  EXPECT_FALSE(_proTools->inputMonitoring(0));
  input->performAction(zar::ax::kPressAction);
  EXPECT_FALSE(_proTools->inputMonitoring(1));
}

TEST_F(SimProToolsTest, DoubleClickAndTypedNameRenameTheRow) {
  click(centre(_proTools->trackNameField(1)), 1);
  EXPECT_FALSE(_proTools->renaming()) << "a single click doesn't open the name";
  click(centre(_proTools->trackNameField(1)), 2);
  EXPECT_TRUE(_proTools->renaming());
  EXPECT_EQ(_sim.desktop->workspace()->frontmostApplication(), _proTools) << "clicking brings Pro Tools forward";

  // The typing script types into the frontmost application, as the framework's naming does.
  ASSERT_FALSE(_sim.desktop->appleScript()->execute(
      "property sourceString : \"JO\\\"_2\\\\_101\"\n"
      "set cnt to length of sourceString\n"
      "repeat with i from 1 to cnt\n"
      "    tell application \"System Events\" to keystroke character i of sourceString\n"
      "end repeat\n"
      "tell application \"System Events\" to key code 36"));
  EXPECT_FALSE(_proTools->renaming());
  EXPECT_EQ(_proTools->trackName(1), "JO\"_2\\_101");
  EXPECT_EQ(_proTools->trackRow(1)->title(), "JO\"_2\\_101 - Audio Track ");
  EXPECT_EQ(_proTools->trackName(0), "Dialog 1");
}

TEST_F(SimProToolsTest, ClosingTheSessionSilencesItsElements) {
  const auto start = _proTools->selectionStartField();
  const auto row = _proTools->trackRow(0);
  _proTools->closeSession();
  std::string title;
  AXAttributeValue v;
  EXPECT_EQ(start->copyAttributeValue(zar::ax::kTitleAttribute, v), AXError::invalidUIElement);
  EXPECT_EQ(row->copyAttributeValue(zar::ax::kTitleAttribute, v), AXError::invalidUIElement);
  EXPECT_FALSE(_proTools->editWindow());
  EXPECT_TRUE(_proTools->windows().empty());

  _proTools->openSession("Reel 2");
  EXPECT_EQ(_proTools->editWindow()->title(), "Edit: Reel 2");
  EXPECT_NE(_proTools->selectionStartField(), start);
  EXPECT_EQ(_proTools->trackRow(0)->title(), "Dialog 1 - Audio Track ");
}

TEST_F(SimProToolsTest, QuittingLeavesTheWorkspace) {
  const auto start = _proTools->selectionStartField();
  ASSERT_TRUE(_sim.desktop->workspace()->quit(_proTools->processIdentifier()));
  EXPECT_FALSE(_sim.desktop->workspace()->runningApplicationWithProcessIdentifier(_proTools->processIdentifier()));
  AXAttributeValue v;
  EXPECT_EQ(start->copyAttributeValue(zar::ax::kTitleAttribute, v), AXError::invalidUIElement);
}

TEST_F(SimProToolsTest, TracksCanBeAddedRemovedAndReordered) {
  const auto oldRow = _proTools->trackRow(0);
  _proTools->addTrack({"Walla"}, 0);
  EXPECT_EQ(_proTools->trackNames(), (std::vector<std::string>{"Walla", "Dialog 1", "Dialog 2", "FX"}));
  EXPECT_EQ(_proTools->trackRow(1), oldRow);
  EXPECT_LT(_proTools->trackRow(0)->frame()->origin.y, oldRow->frame()->origin.y);

  _proTools->moveTrack(0, 3);
  EXPECT_EQ(_proTools->trackNames(), (std::vector<std::string>{"Dialog 1", "Dialog 2", "FX", "Walla"}));
  EXPECT_EQ(_proTools->trackRow(0), oldRow);

  const auto removed = _proTools->trackRow(1);
  _proTools->removeTrack(1);
  EXPECT_EQ(_proTools->trackNames(), (std::vector<std::string>{"Dialog 1", "FX", "Walla"}));
  AXAttributeValue v;
  EXPECT_EQ(removed->copyAttributeValue(zar::ax::kTitleAttribute, v), AXError::invalidUIElement);
  EXPECT_EQ(_proTools->editWindow()->children().size(), 4u);
}

TEST_F(SimProToolsTest, RowsCanBeListedInAnotherOrderThanOnScreen) {
  ASSERT_TRUE(_proTools->setRowListingOrder({2, 0, 1}));
  const auto children = _proTools->editWindow()->children();
  EXPECT_EQ(children[1]->title(), "FX - Aux Track ");
  EXPECT_EQ(children[2]->title(), "Dialog 1 - Audio Track ");
  EXPECT_FALSE(_proTools->setRowListingOrder({0, 0, 1}));
  EXPECT_FALSE(_proTools->setRowListingOrder({0, 1}));
}

TEST_F(SimProToolsTest, IdentityTitlesAndSessionAreConfigurable) {
  SimProTools::Options options;
  options.bundleIdentifier = "com.digidesign.ProTools";
  options.bundleVersion = "10.3.10";
  options.sessionName = std::nullopt;
  options.tracks = {{"Dialog 1"}, {"Verb", SimProTools::TrackKind::aux}};
  options.audioTitleFormat = "{} audio track";
  options.auxTitleFormat = "{} auxiliary track";
  launch(options);
  EXPECT_EQ(_proTools->info().infoDictionary.at("CFBundleVersion"), zar::platform::PropertyValue("10.3.10"));
  EXPECT_FALSE(_proTools->editWindow()) << "no session, no edit window";
  _proTools->openSession("Reel 3");
  EXPECT_EQ(_proTools->trackRow(0)->title(), "Dialog 1 audio track");
  EXPECT_EQ(_proTools->trackRow(1)->title(), "Verb auxiliary track");
}

TEST_F(SimProToolsTest, TheHUISideAndTheRowsAreTheSameTracks) {
  const auto request = zar::sim::SimHUIHost::defaultPortRequest("Surface", "loopback");
  _proTools->attachHUI(_sim.midiPorts, request);
  const auto host = _proTools->huiHost();
  ASSERT_TRUE(host);
  EXPECT_EQ(host->tracks().size(), 3u);

  // The user clicks in Pro Tools: the HUI side has it.
  _proTools->muteButton(2)->performAction(zar::ax::kPressAction);
  EXPECT_TRUE(host->track(2)->muted);
  _proTools->setTrackRecEnabled(0, true);
  EXPECT_TRUE(host->track(0)->recEnabled);

  // Pro Tools changes a track through HUI: the row has it.
  host->setTrackMuted(1, true);
  EXPECT_TRUE(_proTools->trackMuted(1));
  EXPECT_EQ(value(_proTools->muteButton(1)), AXAttributeValue("on"));

  // Tracks added or moved in Pro Tools are the HUI side's tracks too.
  _proTools->addTrack({"Walla"}, 0);
  EXPECT_EQ(host->tracks().size(), 4u);
  EXPECT_EQ(host->track(0)->name, "Walla");
  EXPECT_TRUE(host->track(1)->recEnabled) << "Dialog 1 moved down with its state";
  _proTools->removeTrack(0);
  EXPECT_EQ(host->track(2)->name, "FX");
  EXPECT_TRUE(host->track(2)->muted);
}

}  // namespace
