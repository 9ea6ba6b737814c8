#include "ZAR_DAWControl/platform/sim/SimProTools.h"

#include <gtest/gtest.h>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "support/ProToolsTest.h"

namespace {

using zar::platform::AXAttributeValue;
using zar::sim::SimProTools;
using Names = std::vector<std::string>;

class SimProToolsTest : public zar::test::ProToolsTest {
 protected:
  // Types digits and Return as bare key codes, as the framework's older typing route does.
  void typeDigits(const std::string& digits) {
    zar::platform::ProcessSerialNumber psn;
    sim.desktop->workspace()->getProcessForPID(_proTools->processIdentifier(), psn);
    for (const char c : digits + "\n") {
      zar::platform::KeyboardEvent event;
      event.keyCode = zar::platform::KeyboardLayout::keyCodeForCharacter(static_cast<char32_t>(c))->keyCode;
      for (const bool down : {true, false}) {
        event.keyDown = down;
        sim.desktop->eventPoster()->postKeyboardEvent(psn, event);
      }
    }
  }
  std::optional<AXAttributeValue> start() const { return _proTools->selectionStartField()->attribute(zar::ax::kValueAttribute); }

  std::shared_ptr<SimProTools> _proTools = launchProTools();
};

TEST_F(SimProToolsTest, APressedCounterTakesTypedDigitsOnReturnAndShowsEveryTimeFormat) {
  typeDigits("02000000");
  EXPECT_EQ(start(), AXAttributeValue("01:00:00:00")) << "digits typed while no counter is open change nothing";
  _proTools->selectionStartField()->performAction(zar::ax::kPressAction);
  EXPECT_TRUE(_proTools->counterEntryOpen());
  typeDigits("00013015");
  EXPECT_FALSE(_proTools->counterEntryOpen());
  EXPECT_EQ(start(), AXAttributeValue("00:01:30:15"));
  _proTools->selectionStartField()->performAction(zar::ax::kPressAction);
  typeDigits("00006000");
  EXPECT_EQ(_proTools->selectionStart(), (TCTime{0, 1, 30, 15, 0, 100, 0})) << "an impossible time is refused";

  const std::pair<SimProTools::TimeFormat, const char*> expected[] = {
      {SimProTools::TimeFormat::timecode, "00:01:30:15"}, {SimProTools::TimeFormat::barsBeats, "46| 2| 000"},
      {SimProTools::TimeFormat::minSecs, "1:30.500"},     {SimProTools::TimeFormat::samples, "4344000"},
      {SimProTools::TimeFormat::feetFrames, "135+12"}};
  for (const auto& [format, text] : expected) {
    _proTools->setTimeFormat(format);
    EXPECT_EQ(start(), AXAttributeValue(text));
  }
}

TEST_F(SimProToolsTest, TracksAreAddedRemovedMovedAndListedInAnyOrderWithTheirTitles) {
  const auto oldRow = _proTools->trackRow(0);
  _proTools->addTrack({"Walla"}, 0);
  _proTools->moveTrack(0, 3);
  EXPECT_EQ(_proTools->trackNames(), (Names{"Dialog 1", "Dialog 2", "FX", "Walla"}));
  EXPECT_EQ(_proTools->trackRow(0), oldRow);
  EXPECT_LT(oldRow->frame()->origin.y, _proTools->trackRow(3)->frame()->origin.y);
  _proTools->removeTrack(1);
  EXPECT_EQ(_proTools->trackNames(), (Names{"Dialog 1", "FX", "Walla"}));
  EXPECT_EQ(_proTools->editWindow()->children().size(), 4u) << "the counters and three rows";
  EXPECT_FALSE(_proTools->setRowListingOrder({0, 0, 1}));
  EXPECT_FALSE(_proTools->setRowListingOrder({0, 1}));
  ASSERT_TRUE(_proTools->setRowListingOrder({2, 0, 1}));
  EXPECT_EQ(_proTools->editWindow()->children()[1]->title(), "Walla - Audio Track ");

  auto options = defaultOptions();
  options.sessionName = std::nullopt;
  options.audioTitleFormat = "{} audio track";
  options.auxTitleFormat = "{} auxiliary track";
  const auto other = launchProTools(options);
  EXPECT_FALSE(other->editWindow()) << "no session, no edit window";
  other->openSession("Reel 3");
  EXPECT_EQ(other->editWindow()->title(), "Edit: Reel 3");
  EXPECT_EQ(other->trackRow(0)->title(), "Dialog 1 audio track");
  EXPECT_EQ(other->trackRow(2)->title(), "FX auxiliary track");
}

TEST_F(SimProToolsTest, TheHUISideAndTheRowsAreTheSameTracks) {
  _proTools->attachHUI(sim.midiPorts, zar::sim::SimHUIHost::defaultPortRequest("Surface", "loopback"));
  const auto host = _proTools->huiHost();
  ASSERT_TRUE(host);
  _proTools->muteButton(2)->performAction(zar::ax::kPressAction);
  EXPECT_TRUE(host->track(2)->muted) << "the user clicks in Pro Tools: the HUI side has it";
  _proTools->setTrackRecEnabled(0, true);
  EXPECT_TRUE(host->track(0)->recEnabled);
  host->setTrackMuted(1, true);
  EXPECT_TRUE(_proTools->trackMuted(1)) << "Pro Tools changes a track through HUI: the row has it";
  EXPECT_EQ(_proTools->muteButton(1)->attribute(zar::ax::kValueAttribute), AXAttributeValue("on"));
  _proTools->addTrack({"Walla"}, 0);
  EXPECT_EQ(host->track(0)->name, "Walla");
  EXPECT_TRUE(host->track(1)->recEnabled) << "Dialog 1 moved down with its state";
  _proTools->removeTrack(0);
  EXPECT_EQ(host->tracks().size(), 3u);
  EXPECT_TRUE(host->track(2)->muted);
}

}  // namespace
