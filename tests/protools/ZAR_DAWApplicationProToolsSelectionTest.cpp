#include <gtest/gtest.h>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/ProToolsTest.h"

namespace {

using zar::sim::SimProTools;

const std::vector<std::string> kTrackNamesOnly{ZAR_DAWApplicationTrackNamesChangedNotification};
const std::vector<std::string> kTrackNamesAndSelection{ZAR_DAWApplicationTrackNamesChangedNotification,
                                                       ZAR_DAWApplicationSelectionChangedNotification};

TCTime tc(std::uint32_t h, std::uint32_t m, std::uint32_t s, std::uint32_t f, std::uint32_t sub = 0) {
  return TCTime{h, m, s, f, sub, 100, 0};
}

class SelectionTest : public zar::test::ProToolsTest {
 protected:
  void SetUp() override {
    _proTools = launchProTools();
    _driver = std::dynamic_pointer_cast<ZAR_DAWApplicationProTools>(
        ZAR_DAWApplication::createWithType(ZAR_DAWApplicationTypeProTools, running(_proTools)));
    ASSERT_TRUE(_driver);
    sim.desktop->eventPoster()->clearLog();
    sim.clock->clearSleeps();
    clearPosted();
  }

  // What the posted keys type, Return as "\n".
  std::string typed() const {
    std::string text;
    for (const auto& posted : sim.desktop->eventPoster()->keyboardEvents()) {
      if (!posted.event.keyDown) continue;
      const bool shift = (posted.event.flags & zar::platform::EventFlagMaskShift) != 0;
      if (const auto c = zar::platform::KeyboardLayout::characterForKeyCode(posted.event.keyCode, shift)) {
        text += zar::platform::KeyboardLayout::encodeUTF8(*c);
      } else if (posted.event.keyCode == 36) {
        text += '\n';
      } else {
        text += '?';
      }
    }
    return text;
  }
  bool nothingTyped() const { return sim.desktop->eventPoster()->keyboardEvents().empty(); }
  void tick() { _driver->onUIRefreshTimerRanOut(nullptr); }
  void showStart(const std::string& text) { _proTools->selectionStartField()->setAttribute(zar::ax::kValueAttribute, text); }

  std::shared_ptr<SimProTools> _proTools;
  std::shared_ptr<ZAR_DAWApplicationProTools> _driver;
};

TEST(SelectionComparisonValue, IsHHMMSSFFWithoutSubframesOrFlags) {
  EXPECT_EQ(ZAR_DAWApplicationProTools::comparisonValue(tc(23, 59, 59, 29)), 23595929);
  EXPECT_EQ(ZAR_DAWApplicationProTools::comparisonValue(tc(1, 2, 3, 4)), 1020304);
  EXPECT_EQ(ZAR_DAWApplicationProTools::comparisonValue(tc(0, 0, 0, 0)), 0);
  EXPECT_EQ(ZAR_DAWApplicationProTools::comparisonValue(TCTimeInvalid), 0);

  TCTime odd = tc(10, 0, 0, 1, 99);
  odd.subframeDivisor = 80;
  odd.isInvalid = 1;
  EXPECT_EQ(ZAR_DAWApplicationProTools::comparisonValue(odd), 10000001) << "subframes, divisor and flag don't count";
  // Fields past a counter's range still add up rather than wrap per field.
  EXPECT_EQ(ZAR_DAWApplicationProTools::comparisonValue(tc(0, 0, 0, 150)), 150);
  EXPECT_EQ(ZAR_DAWApplicationProTools::comparisonValue(tc(0, 99, 0, 0)), 990000);
}

TEST_F(SelectionTest, ReadingGivesTheCountersText) {
  ZAR_Error error{"untouched", 99, ""};
  EXPECT_EQ(_driver->selectionStartTC(&error), "01:00:00:00");
  EXPECT_EQ(_driver->selectionEndTC(&error), "01:00:10:00");
  EXPECT_EQ(error.code, 99) << "no error, the slot is left alone";
  _proTools->setSelection(tc(2, 3, 4, 5), tc(23, 59, 59, 29));
  EXPECT_EQ(_driver->selectionStartTC(), "02:03:04:05");
  EXPECT_EQ(_driver->selectionEndTC(), "23:59:59:29");
  EXPECT_TRUE(nothingTyped());
}

TEST_F(SelectionTest, ReadingWhenTheCountersDontShowTimecode) {
  _proTools->setTimeFormat(SimProTools::TimeFormat::samples);
  ZAR_Error error;
  EXPECT_EQ(_driver->selectionStartTC(&error), std::nullopt);
  EXPECT_EQ(error.code, ZAR_DAWApplicationProTools::timecodeFormatWrongErrorCode);
  EXPECT_EQ(error.domain, "ZAR_ErrorDomain");
  EXPECT_EQ(_driver->selectionEndTC(&error), std::nullopt);
  // Without a slot the field is read all the same.
  EXPECT_EQ(_driver->selectionStartTC(), SimProTools::counterText(tc(1, 0, 0, 0), SimProTools::TimeFormat::samples));
  EXPECT_EQ(_driver->selectionEndTC(), SimProTools::counterText(tc(1, 0, 10, 0), SimProTools::TimeFormat::samples));
  EXPECT_TRUE(_driver->ZAR_DAWApplication::connected()) << "a wrong format is not a lost connection";
}

TEST_F(SelectionTest, ReadingWhenProToolsIsGone) {
  _proTools->closeSession();
  ZAR_Error error;
  EXPECT_EQ(_driver->selectionStartTC(&error), std::nullopt);
  EXPECT_EQ(error.code, ZAR_DAWApplicationProTools::communicationDownErrorCode);
  EXPECT_EQ(_driver->selectionEndTC(), std::nullopt);
  EXPECT_FALSE(_driver->ZAR_DAWApplication::connected()) << "the check records the loss even without a slot";
}

TEST_F(SelectionTest, SettingTheShownTextDoesNothing) {
  EXPECT_EQ(_driver->setSelectionStartTC("01:00:00:00"), std::nullopt);
  EXPECT_EQ(_driver->setSelectionEndTC("01:00:10:00"), std::nullopt);
  EXPECT_FALSE(_proTools->counterEntryOpen()) << "no field was pressed";
  EXPECT_TRUE(nothingTyped());
  EXPECT_TRUE(sim.clock->sleeps().empty());
}

TEST_F(SelectionTest, SettingAnotherTextPressesTheFieldAndTypesItsDigits) {
  _proTools->setSelection(tc(2, 0, 0, 0), tc(2, 0, 30, 0));
  EXPECT_EQ(_driver->setSelectionStartTC("01:00:00:00"), std::nullopt);
  EXPECT_EQ(typed(), "01000000\n");
  EXPECT_EQ(_proTools->selectionStart(), tc(1, 0, 0, 0));
  EXPECT_EQ(_proTools->selectionEnd(), tc(2, 0, 30, 0)) << "only the start field was pressed";
  for (const auto& sleep : sim.clock->sleeps()) EXPECT_EQ(sleep.duration, 0.030) << "only keystroke pauses";

  sim.desktop->eventPoster()->clearLog();
  EXPECT_EQ(_driver->setSelectionEndTC("01:00:12:15"), std::nullopt);
  EXPECT_EQ(typed(), "01001215\n");
  EXPECT_EQ(_proTools->selectionStart(), tc(1, 0, 0, 0));
  EXPECT_EQ(_proTools->selectionEnd(), tc(1, 0, 12, 15));
  EXPECT_FALSE(_proTools->counterEntryOpen());
}

TEST_F(SelectionTest, TheComparisonIsOnTheExactText) {
  // The same point written otherwise still gets typed.
  EXPECT_EQ(_driver->setSelectionStartTC("01:00:00:00 "), std::nullopt);
  EXPECT_EQ(typed(), "01000000 \n");
  sim.desktop->eventPoster()->clearLog();
  EXPECT_EQ(_driver->setSelectionStartTC(std::nullopt), std::nullopt);
  EXPECT_EQ(typed(), "\n") << "no text: the pressed counter gets only Return";
}

TEST_F(SelectionTest, SettingFailsUntouchedWhenProToolsIsGoneOrNotInTimecode) {
  _proTools->setTimeFormat(SimProTools::TimeFormat::barsBeats);
  auto error = _driver->setSelectionStartTC("02:00:00:00");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, ZAR_DAWApplicationProTools::timecodeFormatWrongErrorCode);
  ASSERT_TRUE(_driver->setSelectionEndTC("02:00:00:00"));
  EXPECT_FALSE(_proTools->counterEntryOpen());
  EXPECT_TRUE(nothingTyped());

  _proTools->setTimeFormat(SimProTools::TimeFormat::timecode);
  _proTools->selectionStartField()->setFailure(zar::platform::AXError::cannotComplete);
  error = _driver->setSelectionEndTC("02:00:00:00");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, ZAR_DAWApplicationProTools::communicationDownErrorCode);
  EXPECT_EQ(_proTools->selectionEnd(), tc(1, 0, 10, 0));
  EXPECT_TRUE(nothingTyped());
}

TEST_F(SelectionTest, FirstTickAnnouncesTheSelectionAfterTheTrackNames) {
  EXPECT_EQ(_driver->lastSelectionStartTC(), TCTimeInvalid);
  tick();
  EXPECT_EQ(posted(), kTrackNamesAndSelection);
  EXPECT_EQ(_driver->lastSelectionStartTC(), tc(1, 0, 0, 0));
  EXPECT_EQ(_driver->lastSelectionEndTC(), tc(1, 0, 10, 0));

  clearPosted();
  tick();
  EXPECT_EQ(posted(), kTrackNamesOnly) << "every connected tick names the tracks, changed or not";
}

TEST_F(SelectionTest, TheRefreshTimerTicksEveryThreeSeconds) {
  sim.runFor(2.9);
  EXPECT_TRUE(posted().empty());
  sim.runFor(0.2);
  EXPECT_EQ(posted(), kTrackNamesAndSelection);
  _proTools->setSelection(tc(1, 0, 5, 0), tc(1, 0, 10, 0));
  sim.runFor(3.0);
  EXPECT_EQ(posted().size(), 4u);
  EXPECT_EQ(_driver->lastSelectionStartTC(), tc(1, 0, 5, 0));
}

TEST_F(SelectionTest, ASubframeChangeIsNeitherAnnouncedNorStored) {
  tick();
  clearPosted();
  showStart("01:00:00:00.50");
  tick();
  EXPECT_EQ(posted(), kTrackNamesOnly);
  EXPECT_EQ(_driver->lastSelectionStartTC(), tc(1, 0, 0, 0));
}

TEST_F(SelectionTest, AChangeOfTheEndAloneReplacesBothPoints) {
  tick();
  clearPosted();
  // A start that differs from the counter only in subframes is replaced, whole, with the end.
  _driver->setLastSelectionStartTC(tc(1, 0, 0, 0, 42));
  _proTools->setSelection(tc(1, 0, 0, 0), tc(1, 0, 20, 3));
  tick();
  EXPECT_EQ(posted(), kTrackNamesAndSelection) << "one notification";
  EXPECT_EQ(_driver->lastSelectionStartTC(), tc(1, 0, 0, 0));
  EXPECT_EQ(_driver->lastSelectionEndTC(), tc(1, 0, 20, 3));
}

TEST_F(SelectionTest, AChangeOfTheStartAloneIsAnnounced) {
  tick();
  clearPosted();
  _proTools->setSelection(tc(0, 59, 59, 29), tc(1, 0, 10, 0));
  tick();
  EXPECT_EQ(posted(), kTrackNamesAndSelection);
  EXPECT_EQ(_driver->lastSelectionStartTC(), tc(0, 59, 59, 29));
  EXPECT_EQ(_driver->lastSelectionEndTC(), tc(1, 0, 10, 0));
}

TEST_F(SelectionTest, ATickWhileProToolsIsGoneDoesNothing) {
  _proTools->closeSession();
  tick();
  sim.runFor(6.0);
  EXPECT_TRUE(posted().empty());
  EXPECT_EQ(_driver->lastSelectionStartTC(), TCTimeInvalid);
  EXPECT_EQ(_driver->audioTracks().size(), 3u) << "no rediscovery either";
}

TEST_F(SelectionTest, ATickStillComparesCountersThatDontShowTimecode) {
  tick();
  clearPosted();
  _proTools->setTimeFormat(SimProTools::TimeFormat::feetFrames);
  tick();
  EXPECT_EQ(posted(), kTrackNamesAndSelection);
  EXPECT_EQ(_driver->lastSelectionStartTC().isInvalid, 1) << "what the parser makes of the text is stored";
  EXPECT_EQ(ZAR_DAWApplicationProTools::comparisonValue(_driver->lastSelectionEndTC()), 0);
  clearPosted();
  tick();
  EXPECT_EQ(posted(), kTrackNamesOnly);
}

TEST_F(SelectionTest, ATickRediscoversTheTracks) {
  _proTools->addTrack({"Walla", SimProTools::TrackKind::audio}, 0);
  tick();
  const auto tracks = _driver->audioTracks();
  ASSERT_EQ(tracks.size(), 4u);
  EXPECT_EQ(tracks[0]->name(), "Walla ");
}

}  // namespace
