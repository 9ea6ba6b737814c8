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

class SelectionTest : public zar::test::ProToolsTest {
 protected:
  void SetUp() override {
    _proTools = launchProTools();
    _driver = attach(_proTools);
    ASSERT_TRUE(_driver);
    sim.desktop->eventPoster()->clearLog();
    sim.clock->clearSleeps();
    clearPosted();
  }

  // What the key events posted since the last look type, Return as "\n".
  std::string typed() {
    std::string text;
    for (const auto& posted : sim.desktop->eventPoster()->keyboardEvents()) {
      const auto c = zar::platform::KeyboardLayout::characterForKeyCode(posted.event.keyCode, false);
      if (posted.event.keyDown) text += c ? zar::platform::KeyboardLayout::encodeUTF8(*c) : "?";
    }
    sim.desktop->eventPoster()->clearLog();
    return text;
  }
  bool nothingTyped() const { return sim.desktop->eventPoster()->keyboardEvents().empty(); }
  void tick() { _driver->onUIRefreshTimerRanOut(nullptr); }
  void showStart(const std::string& text) { _proTools->selectionStartField()->setAttribute(zar::ax::kValueAttribute, text); }

  std::shared_ptr<SimProTools> _proTools;
  std::shared_ptr<ZAR_DAWApplicationProTools> _driver;
};

TEST_F(SelectionTest, TheComparisonValueIsHHMMSSFFWithoutSubframesOrFlags) {
  TCTime odd = tc(10, 0, 0, 1, 99);
  odd.subframeDivisor = 80;
  odd.isInvalid = 1;
  const std::pair<TCTime, std::int64_t> values[] = {
      {tc(23, 59, 59, 29), 23595929}, {tc(1, 2, 3, 4), 1020304}, {tc(0, 0, 0, 0), 0}, {TCTimeInvalid, 0},
      {odd, 10000001},  // subframes, divisor and flag don't count
      {tc(0, 0, 0, 150), 150}, {tc(0, 99, 0, 0), 990000}};  // fields past their range add up
  for (const auto& [time, value] : values) EXPECT_EQ(ZAR_DAWApplicationProTools::comparisonValue(time), value);
}

TEST_F(SelectionTest, ReadingGivesTheCountersTextOrAnError) {
  ZAR_Error error{"untouched", 99, ""};
  EXPECT_EQ(_driver->selectionStartTC(&error), "01:00:00:00");
  EXPECT_EQ(_driver->selectionEndTC(&error), "01:00:10:00");
  EXPECT_EQ(error.code, 99) << "no error, the slot is left alone";

  _proTools->setTimeFormat(SimProTools::TimeFormat::samples);
  EXPECT_EQ(_driver->selectionStartTC(&error), std::nullopt);
  EXPECT_EQ(error, (ZAR_Error{"ZAR_ErrorDomain", ZAR_DAWApplicationProTools::timecodeFormatWrongErrorCode,
                              notTimecode.localizedDescription}));
  EXPECT_EQ(_driver->selectionEndTC(&error), std::nullopt);
  // Without a slot the field is read all the same.
  EXPECT_EQ(_driver->selectionStartTC(), SimProTools::counterText(tc(1, 0, 0, 0), SimProTools::TimeFormat::samples));
  EXPECT_TRUE(_driver->ZAR_DAWApplication::connected()) << "a wrong format is not a lost connection";

  _proTools->closeSession();
  EXPECT_EQ(_driver->selectionStartTC(&error), std::nullopt);
  EXPECT_EQ(error.code, ZAR_DAWApplicationProTools::communicationDownErrorCode);
  EXPECT_EQ(_driver->selectionEndTC(), std::nullopt);
  EXPECT_FALSE(_driver->ZAR_DAWApplication::connected()) << "the check records the loss even without a slot";
  EXPECT_TRUE(nothingTyped());
}

TEST_F(SelectionTest, SettingAnotherTextThanShownPressesTheFieldAndTypesItsDigits) {
  EXPECT_EQ(_driver->setSelectionStartTC("01:00:00:00"), std::nullopt);
  EXPECT_FALSE(_proTools->counterEntryOpen()) << "the text shown: no field was pressed";
  EXPECT_TRUE(nothingTyped());
  EXPECT_TRUE(sim.clock->sleeps().empty());

  EXPECT_EQ(_driver->setSelectionEndTC("01:00:12:15"), std::nullopt);
  EXPECT_EQ(typed(), "01001215\n");
  EXPECT_EQ(_proTools->selectionStart(), tc(1, 0, 0, 0)) << "only the end field was pressed";
  EXPECT_EQ(_proTools->selectionEnd(), tc(1, 0, 12, 15));
  EXPECT_FALSE(_proTools->counterEntryOpen());
  for (const auto& sleep : sim.clock->sleeps()) EXPECT_EQ(sleep.duration, 0.030) << "only keystroke pauses";

  // The comparison is on the exact text: the same point written otherwise still gets typed.
  EXPECT_EQ(_driver->setSelectionStartTC("01:00:00:00 "), std::nullopt);
  EXPECT_EQ(typed(), "01000000 \n");
  EXPECT_EQ(_driver->setSelectionStartTC(std::nullopt), std::nullopt);
  EXPECT_EQ(typed(), "\n") << "no text: the pressed counter gets only Return";
}

TEST_F(SelectionTest, SettingFailsUntouchedWhenProToolsIsGoneOrNotInTimecode) {
  _proTools->setTimeFormat(SimProTools::TimeFormat::barsBeats);
  EXPECT_EQ(_driver->setSelectionStartTC("02:00:00:00"), notTimecode);
  EXPECT_EQ(_driver->setSelectionEndTC("02:00:00:00"), notTimecode);
  _proTools->setTimeFormat(SimProTools::TimeFormat::timecode);
  _proTools->selectionStartField()->setFailure(zar::platform::AXError::cannotComplete);
  EXPECT_EQ(_driver->setSelectionEndTC("02:00:00:00"), communicationDown);
  EXPECT_FALSE(_proTools->counterEntryOpen());
  EXPECT_EQ(_proTools->selectionEnd(), tc(1, 0, 10, 0));
  EXPECT_TRUE(nothingTyped());
}

// Every connected tick names the tracks; it announces the selection when it changed, not counting
// subframes, and stores both points whole.
TEST_F(SelectionTest, TicksAnnounceSelectionChangesAfterTheTrackNames) {
  EXPECT_EQ(_driver->lastSelectionStartTC(), TCTimeInvalid);
  sim.runFor(2.9);
  EXPECT_TRUE(posted().empty());
  sim.runFor(0.2);  // the refresh timer ticks every three seconds
  EXPECT_EQ(posted(), kTrackNamesAndSelection);
  EXPECT_EQ(_driver->lastSelectionStartTC(), tc(1, 0, 0, 0));
  EXPECT_EQ(_driver->lastSelectionEndTC(), tc(1, 0, 10, 0));

  const auto tickAfter = [&](const std::function<void()>& change) {
    clearPosted();
    change();
    tick();
    return posted();
  };
  EXPECT_EQ(tickAfter([] {}), kTrackNamesOnly);
  EXPECT_EQ(tickAfter([&] { showStart("01:00:00:00.50"); }), kTrackNamesOnly);
  EXPECT_EQ(_driver->lastSelectionStartTC(), tc(1, 0, 0, 0)) << "a subframe change is not stored";
  EXPECT_EQ(tickAfter([&] {
              _driver->setLastSelectionStartTC(tc(1, 0, 0, 0, 42));
              _proTools->setSelection(tc(1, 0, 0, 0), tc(1, 0, 20, 3));
            }),
            kTrackNamesAndSelection);
  EXPECT_EQ(_driver->lastSelectionStartTC(), tc(1, 0, 0, 0)) << "a change of the end alone replaces both points";
  EXPECT_EQ(_driver->lastSelectionEndTC(), tc(1, 0, 20, 3));
  EXPECT_EQ(tickAfter([&] { _proTools->setSelection(tc(0, 59, 59, 29), tc(1, 0, 20, 3)); }), kTrackNamesAndSelection);
  EXPECT_EQ(_driver->lastSelectionStartTC(), tc(0, 59, 59, 29));
  // Counters that don't show timecode are compared all the same, as the parser reads them.
  EXPECT_EQ(tickAfter([&] { _proTools->setTimeFormat(SimProTools::TimeFormat::feetFrames); }), kTrackNamesAndSelection);
  EXPECT_EQ(_driver->lastSelectionStartTC().isInvalid, 1);
  EXPECT_EQ(tickAfter([] {}), kTrackNamesOnly);
}

TEST_F(SelectionTest, ATickRediscoversTheTracksUnlessProToolsIsGone) {
  _proTools->addTrack({"Walla", SimProTools::TrackKind::audio}, 0);
  tick();
  ASSERT_EQ(_driver->audioTracks().size(), 4u);
  EXPECT_EQ(_driver->audioTracks()[0]->name(), "Walla ");

  clearPosted();
  _proTools->closeSession();
  sim.runFor(6.0);
  EXPECT_TRUE(posted().empty());
  EXPECT_EQ(_driver->audioTracks().size(), 4u) << "no rediscovery";
}

}  // namespace
