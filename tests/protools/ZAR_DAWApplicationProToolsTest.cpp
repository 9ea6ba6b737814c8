#include <gtest/gtest.h>

#include <algorithm>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/Logger.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "ZAR_DAWControl/platform/utility/Utf8Text.h"
#include "ZAR_DAWControl/protools/ZAR_DAWApplicationProTools.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/ProToolsTest.h"

namespace {

using zar::platform::AXAttributeValue;
using zar::platform::AXValueList;
using zar::sim::SimProTools;

// A list value of elements, as "AXWindows" gives it.
template <typename... Elements>
AXAttributeValue list(const Elements&... elements) {
  return AXAttributeValue(AXValueList{AXAttributeValue(zar::platform::AXUIElementRef(elements))...});
}

class ProToolsConnectionTest : public zar::test::ProToolsTest {
 protected:
  std::shared_ptr<zar::sim::SimElement> window(const std::shared_ptr<SimProTools>& app, const std::string& title) {
    return app->makeElement(zar::ax::kWindowRole, title);
  }
};

TEST_F(ProToolsConnectionTest, AttachesToTheEditWindowAndReadsTheBundle) {
  const auto proTools = launchProTools();
  const auto driver = attach(proTools);
  ASSERT_TRUE(driver);
  EXPECT_EQ(driver->type(), ZAR_DAWApplicationTypeProTools);
  EXPECT_EQ(driver->name(), "Pro Tools");
  EXPECT_EQ(driver->currentProject(), " Dialogue Session");
  EXPECT_EQ(driver->editWindow(), proTools->editWindow());
  EXPECT_EQ(driver->startTCTextfield(), proTools->selectionStartField());
  EXPECT_EQ(driver->endTCTextfield(), proTools->selectionEndField());
  EXPECT_EQ(driver->appRootElement(), proTools->applicationElement());
  EXPECT_TRUE(driver->connected());
  EXPECT_FALSE(ZAR_DAWApplication::createWithType(1, running(proTools)));

  const std::pair<std::optional<std::string>, std::int32_t> versions[] = {
      {"10.3.10", 10}, {"2023.12.1", 2023}, {"v12", 0}, {std::nullopt, 0}};
  for (const auto& [version, major] : versions) {
    auto options = defaultOptions();
    options.bundleVersion = version;
    const auto other = attach(launchProTools(options));
    ASSERT_TRUE(other);
    EXPECT_EQ(other->versionString(), version.value_or(""));
    EXPECT_EQ(other->majorVersion(), major) << version.value_or("(none)");
  }
}

TEST_F(ProToolsConnectionTest, NoSessionOrNoCountersMeansNoDriver) {
  auto options = defaultOptions();
  options.sessionName = std::nullopt;
  const auto proTools = launchProTools(options);
  EXPECT_FALSE(attach(proTools)) << "no window titled Edit:";
  proTools->addWindow("Mix: Dialogue Session");
  EXPECT_FALSE(attach(proTools));

  // The first window with "Edit:" in its title is the edit window, even without counters in it.
  proTools->addWindow("Edit: Scratch");
  proTools->openSession("Dialogue Session");
  EXPECT_FALSE(attach(proTools));
  EXPECT_EQ(sim.runLoop->validTimerCount(), 0u) << "failed drivers leave no timer";
}

TEST_F(ProToolsConnectionTest, FindersMatchAsPlatformTitlesAreWritten) {
  const auto proTools = launchProTools();
  const auto driver = std::make_shared<ZAR_DAWApplicationProTools>();  // not attached: its finders on made-up windows
  const auto a = window(proTools, "Mix: Reel 1");
  const auto b = window(proTools, "Pro Tools Edit: Reel 1");
  const auto c = window(proTools, "Edit: Reel 2");
  EXPECT_EQ(driver->findEditWindowFromWindowArray(list(a, b, c)), b);
  EXPECT_EQ(driver->currentProject(), "ools Edit: Reel 1") << "the title less its first five characters";
  const auto bare = window(proTools, "Edit:");
  EXPECT_EQ(driver->findEditWindowFromWindowArray(list(bare)), bare);
  EXPECT_EQ(driver->currentProject(), "");

  driver->setCurrentProject("kept");
  EXPECT_FALSE(driver->findEditWindowFromWindowArray(list(a, window(proTools, "edit: lower"))));
  EXPECT_FALSE(driver->findEditWindowFromWindowArray(std::nullopt));
  EXPECT_FALSE(driver->findEditWindowFromWindowArray(list()));
  EXPECT_EQ(driver->currentProject(), "kept");

  const auto cluster = proTools->makeElement(zar::ax::kGroupRole, std::string("Counter Display Cluster"));
  cluster->addChild(proTools->makeElement(zar::ax::kTextFieldRole, std::string("Edit Selection Start ")));
  EXPECT_FALSE(driver->findStartTCTextFieldFromCounterDisplayCluster(cluster)) << "titles match exactly";
  const auto end = cluster->addChild(proTools->makeElement(zar::ax::kTextFieldRole, std::string("Edit Selection End")));
  EXPECT_EQ(driver->findEndTCTextFieldFromCounterDisplayCluster(cluster), end);
  EXPECT_FALSE(driver->findCounterDisplayClusterFromEditWindow(nullptr));
}

TEST_F(ProToolsConnectionTest, ConnectedUntilTheSessionClosesOrProToolsQuitsAndCountersMustShowTimecode) {
  const auto proTools = launchProTools();
  const auto driver = attach(proTools);
  EXPECT_FALSE(driver->checkIfCommunicationIsDown());
  EXPECT_FALSE(driver->checkIfTimecodeFormatIsWrong());
  for (const auto format : {SimProTools::TimeFormat::barsBeats, SimProTools::TimeFormat::minSecs,
                            SimProTools::TimeFormat::samples, SimProTools::TimeFormat::feetFrames}) {
    proTools->setTimeFormat(format);
    EXPECT_EQ(driver->checkIfTimecodeFormatIsWrong(), notTimecode);
  }
  const auto other = launchProTools();
  const auto second = attach(other);
  other->closeSession();
  EXPECT_FALSE(second->connected());
  quit(proTools);
  EXPECT_FALSE(driver->connected());
}

// Pro Tools busy for a moment, or a track deleted under the framework's feet.
using ProToolsFaultTest = zar::test::EnabledProToolsTest;

TEST_F(ProToolsFaultTest, OneFailedReadIsConfirmedBeforeProToolsCountsAsGone) {
  for (const auto error : {zar::platform::AXError::cannotComplete, zar::platform::AXError::failure}) {
    _proTools->selectionStartField()->failNextCalls(error, 1);
    sim.runFor(2.5);  // a discovery pass asks whether the application is still connected
    EXPECT_EQ(_manager->currentApplication(), _driver);
    EXPECT_TRUE(_driver->ZAR_DAWApplication::connected());
  }
  EXPECT_EQ(std::count(posted().begin(), posted().end(), ZAR_DAWApplicationRemovedNotification), 0);

  _proTools->selectionStartField()->setFailure(zar::platform::AXError::cannotComplete);
  sim.runFor(2.5);
  EXPECT_FALSE(_manager->currentApplication()) << "a failure that lasts is Pro Tools gone";
}

// The second track is deleted in Pro Tools after discovery; the aux track slides into its place.
TEST_F(ProToolsFaultTest, ADeletedRowIsNotToggledAndTheTracksAreFoundAgain) {
  _manager->muteRecMatrix()->setRehearseMode(mode(ZAR_DAWTrackStatePlay, ZAR_DAWTrackStateMute, ZAR_DAWTrackStatePlay), 1);
  const auto deleted = _driver->audioTracks().at(1);
  _proTools->removeTrack(1);

  deleted->setMuted(true, true);
  EXPECT_FALSE(deleted->muted()) << "nothing toggled, so the cache stays";
  EXPECT_TRUE(deleted->takeRowVanished());
  EXPECT_FALSE(deleted->takeRowVanished()) << "told once";

  _driver->updateAudioTracksForMode(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseDuring);
  EXPECT_FALSE(_proTools->trackMuted(1)) << "the aux track that slid into the position is left alone";
  ASSERT_EQ(_driver->audioTracks().size(), 2u) << "found again";
  EXPECT_EQ(_driver->audioTracks().at(1)->name(), "FX ");
}

// What reaches Pro Tools as keystrokes is checked first: a line feed would be typed as Return and
// whatever follows it would land outside the field.
class TypedTextTest : public zar::test::EnabledProToolsTest {
 protected:
  void SetUp() override {
    start(false);
    sim.logger->clear();
  }

  std::size_t errorsLogged() const { return sim.logger->messages(zar::platform::LogFlag::error).size(); }
};

TEST_F(TypedTextTest, ASelectionTextThatIsNotTimecodeIsNeitherTypedNorPressedButLogged) {
  const std::optional<std::string> texts[] = {std::nullopt,
                                              "",
                                              "01:00:02:00\n02",
                                              std::string(100000, '1'),
                                              "24:00:00:00",
                                              "01:00:02",
                                              "one o'clock"};
  for (const auto& text : texts) {
    sim.logger->clear();
    EXPECT_EQ(_driver->setSelectionStartTC(text), std::nullopt);
    EXPECT_EQ(_driver->setSelectionEndTC(text), std::nullopt);
    EXPECT_TRUE(sim.desktop->eventPoster()->keyboardEvents().empty() && sim.desktop->eventPoster()->mouseEvents().empty() &&
                sim.desktop->appleScript()->executions().empty())
        << text.value_or("(null)").substr(0, 20);
    EXPECT_FALSE(_proTools->counterEntryOpen());
    EXPECT_EQ(errorsLogged(), 2u);
  }
  EXPECT_EQ(_proTools->selectionStart(), tc(1, 0, 0, 0));
  EXPECT_EQ(_proTools->selectionEnd(), tc(1, 0, 10, 0));

  // Blanks around timecode (a carriage return is one) are allowed but not typed.
  EXPECT_EQ(_driver->setSelectionEndTC("\t01:00:12:15\r"), std::nullopt);
  EXPECT_EQ(_proTools->selectionEnd(), tc(1, 0, 12, 15));
  EXPECT_EQ(sim.desktop->eventPoster()->keyboardEvents().size(), 2u * 9u) << "eight digits and Return";
}

TEST_F(TypedTextTest, NamesLoseControlCharactersAndAVanishedRowIsLeftAlone) {
  const std::pair<std::string, std::string> names[] = {
      {"JO_1\n_101", "JO_1_101"}, {"\tA\rB\x7f", "AB"}, {"C\xC2\x85\xC2\x9F\xC2\xA0", "C\xC2\xA0"}, {"\x1b[2J", "[2J"}};
  for (const auto& [given, entered] : names) {
    _driver->audioTracks().at(0)->setName(given);
    EXPECT_EQ(_proTools->trackName(0), entered);
  }

  // The record track's row is deleted after discovery found its name field.
  const auto vanished = _driver->audioTracks().at(1);
  _proTools->removeTrack(1);
  sim.desktop->eventPoster()->clearLog();
  sim.logger->clear();
  const auto scriptsBefore = sim.desktop->appleScript()->executions().size();
  vanished->setName("JO_2_101");
  EXPECT_TRUE(sim.desktop->eventPoster()->mouseEvents().empty()) << "no click at the screen's corner";
  EXPECT_EQ(sim.desktop->appleScript()->executions().size(), scriptsBefore) << "nothing typed";
  EXPECT_EQ(errorsLogged(), 1u);
  EXPECT_EQ(_proTools->trackName(0), "[2J");
  EXPECT_EQ(_proTools->trackName(1), "FX");
}

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
      if (posted.event.keyDown) text += c ? zar::platform::Utf8Text::encode(*c) : "?";
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
  EXPECT_EQ(typed(), "01000000\n") << "the blank around it is not typed";
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
