#include "ZAR_DAWControl/daw/ZAR_DAWApplication.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <thread>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"
#include "support/ProToolsTest.h"
#include "support/TakeCue.h"

namespace {

using Strokes = std::vector<std::pair<int, bool>>;

// An application whose driver operations only record that they were called.
class RecordingApplication : public ZAR_DAWApplication {
 public:
  std::optional<ZAR_Error> setSelectionStartTC(const std::optional<std::string>& tc) override {
    calls.push_back("start " + tc.value_or("(nil)"));
    return std::nullopt;
  }
  std::optional<ZAR_Error> setSelectionEndTC(const std::optional<std::string>& tc) override {
    calls.push_back("end " + tc.value_or("(nil)"));
    return std::nullopt;
  }
  void onUIRefreshTimerRanOut(const zar::platform::TimerRef& timer) override {
    ++ticks;
    EXPECT_EQ(timer, uiRefreshTimer());
  }
  std::vector<std::string> calls;
  int ticks = 0;
};

class DAWApplicationTest : public zar::test::ProToolsTest {
 protected:
  void SetUp() override {
    _proTools = launchProTools();
    ASSERT_TRUE(_application->initWithRunningApplication(running(_proTools)));
  }
  // Types `text` as key events and returns the key code and direction of each one posted, in order;
  // checks that a 30 ms pause follows each key (digits and Return below version 11) or each event.
  Strokes type(const std::string& text) {
    sim.desktop->eventPoster()->clearLog();
    sim.clock->clearSleeps();
    _application->sendTextToDAWApplication(text, false);
    Strokes result;
    for (const auto& posted : sim.desktop->eventPoster()->keyboardEvents()) {
      result.emplace_back(posted.event.keyCode, posted.event.keyDown);
      EXPECT_EQ(posted.psn, _application->processSerialNumber());
      EXPECT_EQ(posted.event.source, _application->eventSource());
    }
    EXPECT_EQ(sim.clock->sleeps().size(), _application->majorVersion() < 11 ? result.size() / 2 : result.size());
    for (const auto& sleep : sim.clock->sleeps()) EXPECT_EQ(sleep.duration, 0.030);
    return result;
  }
  std::vector<zar::sim::SimAlerts::ShownAlert> shown() const { return sim.desktop->alerts()->shownAlerts(); }

  std::shared_ptr<zar::sim::SimProTools> _proTools;
  std::shared_ptr<RecordingApplication> _application = std::make_shared<RecordingApplication>();
  std::shared_ptr<ZAR_VisualEvent> _cue = zar::test::takeCue();
};

TEST_F(DAWApplicationTest, InitialisationSetsTheBaseState) {
  EXPECT_TRUE(_application->connected());
  EXPECT_EQ(_application->lastSelectionStartTC(), TCTimeInvalid);
  EXPECT_EQ(_application->lastSelectionEndTC(), TCTimeInvalid);
  EXPECT_FALSE(_application->currentEvent());
  EXPECT_EQ(_application->currentMode(), ZAR_DAWModeRehearse);
  EXPECT_TRUE(_application->huiDevice());
  EXPECT_EQ(_application->processIdentifier(), _proTools->processIdentifier());
  zar::platform::ProcessSerialNumber psn;
  sim.desktop->workspace()->getProcessForPID(_proTools->processIdentifier(), psn);
  EXPECT_EQ(_application->processSerialNumber(), psn);
  ASSERT_TRUE(_application->eventSource());
  EXPECT_EQ(_application->eventSource()->stateID(), 1);

  auto stray = std::make_shared<zar::platform::RunningApplication>();
  stray->processIdentifier = 999999;
  auto application = std::make_shared<RecordingApplication>();
  ASSERT_TRUE(application->initWithRunningApplication(stray));
  EXPECT_EQ(application->processSerialNumber(), zar::platform::ProcessSerialNumber{}) << "unknown process";
}

TEST_F(DAWApplicationTest, TheRefreshTimerTicksEveryThreeSecondsPausesAndNeverKeepsTheApplicationAlive) {
  const auto timer = _application->uiRefreshTimer();
  ASSERT_TRUE(timer);
  EXPECT_EQ(timer->timeInterval(), 3.0);
  sim.runFor(2.9);
  EXPECT_EQ(_application->ticks, 0);
  sim.runFor(6.2);
  EXPECT_EQ(_application->ticks, 3);

  _application->resumePeriodicUIRefreshes();
  EXPECT_EQ(_application->uiRefreshTimer(), timer) << "still exactly one timer";
  _application->pausePeriodicUIRefreshes();
  _application->pausePeriodicUIRefreshes();
  EXPECT_FALSE(_application->uiRefreshTimer());
  EXPECT_FALSE(timer->isValid());
  sim.runFor(6.0);
  _application->resumePeriodicUIRefreshes();
  sim.runFor(3.0);
  EXPECT_EQ(_application->ticks, 4);

  std::weak_ptr<RecordingApplication> weak = _application;
  const auto observers = sim.notificationCenter->observerCount();
  _application.reset();
  EXPECT_TRUE(weak.expired());
  EXPECT_EQ(sim.runLoop->validTimerCount(), 0u);
  EXPECT_EQ(sim.notificationCenter->observerCount(), observers - 1) << "the timing observation ended";
}

TEST_F(DAWApplicationTest, PassBookkeepingAndTheRecordNotification) {
  int started = 0;
  zar::platform::NotificationObservation observer(
      sim.notificationCenter, std::string(ZAR_DAWApplicationRecordStartedNotification),
      [&](const zar::platform::Notification& n) {
        ++started;
        EXPECT_FALSE(n.object.has_value());
        // Posted after the pass is set up.
        EXPECT_EQ(_application->currentMode(), ZAR_DAWModeRecord);
        EXPECT_EQ(_application->currentEvent(), _cue);
      });
  _application->reviewWithEvent(_cue);
  EXPECT_EQ(_application->currentMode(), ZAR_DAWModeReview);
  _application->recordWithEvent(_cue);
  EXPECT_EQ(started, 1);
  EXPECT_FALSE(_application->playing());
  _application->stopPlayback();
  _application->stopPlayback();
  EXPECT_EQ(_application->currentMode(), ZAR_DAWModeNone);
  EXPECT_FALSE(_application->currentEvent());

  _application->rehearseWithEvent(_cue);
  EXPECT_EQ(_application->currentMode(), ZAR_DAWModeRehearse);
  _cue.reset();
  EXPECT_FALSE(_application->currentEvent()) << "the cue is held weakly";
  EXPECT_EQ(started, 1);
}

TEST_F(DAWApplicationTest, CueTimingChangeSelectsTheRangeWhenThePreferenceSaysSo) {
  _application->registerUserDefaults();
  sim.notificationCenter->post(ZAR_VisualEventTimingDidChangeNotification, _cue);
  EXPECT_EQ(_application->calls, (std::vector<std::string>{"start 00:59:58:00", "end 01:00:04:12"}));

  _application->calls.clear();
  sim.notificationCenter->post(ZAR_VisualEventTimingDidChangeNotification);  // no cue
  sim.notificationCenter->post(ZAR_VisualEventTimingDidChangeNotification, std::string("not a cue"));
  sim.userDefaults->setBool(false, ZAR_DAWSelectEventOnListSelectionPrefKey);
  sim.notificationCenter->post(ZAR_VisualEventTimingDidChangeNotification, _cue);
  EXPECT_TRUE(_application->calls.empty());
}

TEST(DAWApplicationBase, DriverOperationsAreNotImplemented) {
  zar::test::SimPlatform sim;
  ZAR_DAWApplication application;
  EXPECT_EQ(application.selectionStartTC(), "");
  ZAR_Error error;
  EXPECT_EQ(application.selectionEndTC(&error), "");
  EXPECT_EQ(error, (ZAR_Error{"ZAR_ErrorDomain", 0, "Not implemented"}));
  EXPECT_EQ(application.setSelectionStartTC("01:00:00:00"), error);
  EXPECT_EQ(application.setSelectionEndTC(std::nullopt), error);
  using testing::HasSubstr;
  using testing::ThrowsMessage;
  EXPECT_THAT([&] { application.updateDAWTrackStatesForFrameIndex(10); },
              ThrowsMessage<std::logic_error>(HasSubstr("updateDAWTrackStatesForFrameIndex")));
  EXPECT_THAT([&] { application.onUIRefreshTimerRanOut(nullptr); },
              ThrowsMessage<std::logic_error>(HasSubstr("onUIRefreshTimerRanOut")));
}

// Below version 11 only digits are typed, then Return, with a pause after each key; from 11 on the
// layout's events, with a pause after each event; other application types type nothing.
TEST_F(DAWApplicationTest, TypingFollowsTheVersionAndTheType) {
  _application->setMajorVersion(10);
  EXPECT_EQ(type("10:59"), (Strokes{{18, true}, {18, false}, {29, true}, {29, false}, {23, true}, {23, false},
                                    {25, true}, {25, false}, {36, true}, {36, false}}));
  EXPECT_EQ(type(""), (Strokes{{36, true}, {36, false}}));
  for (const auto& posted : sim.desktop->eventPoster()->keyboardEvents()) EXPECT_EQ(posted.event.flags, zar::platform::EventFlagNone);
  EXPECT_EQ(_proTools->typedText(), "1059\n\n");

  _application->setMajorVersion(11);
  const auto expected = zar::platform::KeyboardLayout::keyEventsForText("A1", true);
  Strokes strokes;
  for (const auto& event : expected) strokes.emplace_back(event.keyCode, event.keyDown);
  EXPECT_EQ(type("A1"), strokes);
  const auto posted = sim.desktop->eventPoster()->keyboardEvents();
  for (std::size_t i = 0; i < posted.size(); ++i) EXPECT_EQ(posted[i].event.flags, expected[i].flags);
  EXPECT_NE(posted[0].event.flags & zar::platform::EventFlagMaskShift, 0u) << "A is typed with shift";
  EXPECT_EQ(_proTools->typedText(), "1059\n\nA1\n");

  _application->setType(1);
  EXPECT_TRUE(type("123").empty());
}

TEST_F(DAWApplicationTest, TheScriptRouteTypesQuotesAndBackslashesIntactIntoTheFrontmostApplication) {
  sim.desktop->workspace()->activate(_proTools->processIdentifier());
  _application->sendTextToDAWApplication("JO\"_2\\_101", true);
  const auto runs = sim.desktop->appleScript()->executions();
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].source,
            "property sourceString : \"JO\\\"_2\\\\_101\"\n"
            "set cnt to length of sourceString\n"
            "repeat with i from 1 to cnt\n"
            "    tell application \"System Events\" to keystroke character i of sourceString\n"
            "end repeat\n"
            "tell application \"System Events\" to key code 36");
  EXPECT_EQ(_proTools->typedText(), "JO\"_2\\_101\n");
}

TEST_F(DAWApplicationTest, WarningsShowTheirExactTextsAndOnlyThoseWithABoxCanBeSuppressed) {
  std::thread([] { ZAR_DAWApplication::showDAWNotAvailableWarning(); }).join();
  EXPECT_TRUE(shown().empty()) << "handed to the main thread, not shown on the host's";
  sim.runFor(0.1);
  ASSERT_EQ(shown().size(), 1u);
  EXPECT_TRUE(shown()[0].onMainThread);
  // Closed with the box unticked: stored as NO, and shown again next time.
  EXPECT_EQ(sim.userDefaults->objectForKey(ZAR_DAWNotAvailableSuppression), zar::platform::PropertyValue(false));

  const auto driver = attach(_proTools);
  const struct {
    std::function<void()> show;
    const char* suppressionKey;  // none: no box, shown every time
    const char* messageText;
    const char* informativeText;
  } warnings[] = {
      {[] { ZAR_DAWApplication::showDAWNotAvailableWarning(); }, ZAR_DAWNotAvailableSuppression,
       "Can't establish DAW connection",
       "Can't continue the operation as either the DAW is not opened or no valid session is loaded."},
      {[&] { driver->showHUIUnavailableAlert(); }, ZAR_DAWHUINotAvailableSuppression, "Can't establish HUI connection",
       "Can't continue the operation as Pro Tools does not communicate with Vantrole's HUI ports. Please make sure "
       "the correct HUI ports are selected in Pro Tools' Setup->Peripherals->MIDI Controllers. If the right ports "
       "are already selected, opening and closing the Peripherals window will be enough to re-establish a HUI "
       "connection."},
      {[] { ZAR_DAWApplication::showNoRecTrackSelectedWarning(); }, nullptr, "Can't start recording",
       "Can't continue the operation as no record track is selected for the selected take. Select a record track "
       "from the dropdown menu in the table and try again."}};
  for (const auto& warning : warnings) {
    SCOPED_TRACE(warning.messageText);
    const std::size_t before = shown().size();
    sim.desktop->alerts()->enqueueAnswer({zar::platform::AlertDefaultReturn, true});  // the box ticked, if any
    warning.show();
    warning.show();
    const auto alerts = shown();
    ASSERT_EQ(alerts.size(), before + (warning.suppressionKey != nullptr ? 1 : 2));
    const auto& request = alerts.back().request;
    EXPECT_EQ(request.messageText, warning.messageText);
    EXPECT_EQ(request.informativeText, warning.informativeText);
    EXPECT_EQ(request.defaultButton, "OK");
    EXPECT_FALSE(request.alternateButton || request.otherButton || request.suppressionButtonChecked);
    EXPECT_EQ(request.showsSuppressionButton, warning.suppressionKey != nullptr);
    if (warning.suppressionKey == nullptr) continue;
    EXPECT_EQ(request.suppressionButtonTitle, "Don't show this again");
    EXPECT_TRUE(sim.userDefaults->boolForKey(warning.suppressionKey));
  }
}

TEST(ExportedConstants, HoldTheirExactValues) {
  EXPECT_STREQ(ZAR_DAWApplicationAddedNotification, "ZAR_DAWApplicationAdded");
  EXPECT_STREQ(ZAR_DAWApplicationRemovedNotification, "ZAR_DAWApplicationRemoved");
  EXPECT_STREQ(ZAR_DAWApplicationRecordStartedNotification, "ZAR_DAWApplicationRecordStarted");
  EXPECT_STREQ(ZAR_DAWApplicationSelectionChangedNotification, "ZAR_DAWApplicationSelectionChanged");
  EXPECT_STREQ(ZAR_DAWApplicationTrackNamesChangedNotification, "ZAR_DAWApplicationTrackNamesChanged");
  EXPECT_STREQ(ZAR_DAWAudioTrackRecTracksChangedNotification, "ZAR_DAWAudioTrackRecTracksChanged");
  EXPECT_STREQ(ZAR_DAWSelectEventOnListSelectionPrefKey, "ZAR_DAWSelectEventOnListSelection");
  EXPECT_STREQ(ZAR_DAWAssignRecordTracksAutomaticallyPrefKey, "ZAR_DAWAssignRecordTracksAutomatically");
  EXPECT_STREQ(ZAR_DAWAudioTrackNameCharacterPrefixPrefKey, "ZAR_DAWAudioTrackNameCharacterPrefix");
  EXPECT_STREQ(ZAR_DAWAudioTrackNameNumRecordsPrefKey, "ZAR_DAWAudioTrackNameNumRecords");
  EXPECT_STREQ(ZAR_DAWAudioTrackNameCueNumberPrefKey, "ZAR_DAWAudioTrackNameCueNumber");
  EXPECT_STREQ(ZAR_DAWNotAvailableSuppression, "ZAR_DAWNotAvailableSuppression");
  EXPECT_STREQ(ZAR_DAWHUINotAvailableSuppression, "ZAR_DAWHUINotAvailableSuppression");
  EXPECT_EQ(ZAR_DAWControlVersionNumber, 1.0);
  EXPECT_STREQ(reinterpret_cast<const char*>(ZAR_DAWControlVersionString),
               "@(#)PROGRAM:ZAR_DAWControl  PROJECT:ZAR_DAWControl-1\n");
}

}  // namespace
