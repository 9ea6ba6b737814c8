#include "ZAR_DAWControl/daw/ZAR_DAWApplication.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "support/ProToolsTest.h"

namespace {

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
  std::shared_ptr<zar::sim::SimProTools> _proTools;
  std::shared_ptr<RecordingApplication> _application = std::make_shared<RecordingApplication>();
  std::shared_ptr<ZAR_VisualEvent> _cue = [] {
    auto event = std::make_shared<ZAR_VisualEvent>();
    event->setStartTCString("01:00:00:00");
    event->setEndTCString("01:00:05:00");
    return event;
  }();
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
  EXPECT_EQ(_application->calls, (std::vector<std::string>{"start 01:00:00:00", "end 01:00:05:00"}));

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
  const auto raisedNaming = [](const std::function<void()>& call, const std::string& name) {
    try {
      call();
    } catch (const std::logic_error& e) {
      return std::string(e.what()).find(name) != std::string::npos;
    }
    return false;
  };
  EXPECT_TRUE(raisedNaming([&] { application.updateDAWTrackStatesForFrameIndex(10); }, "updateDAWTrackStatesForFrameIndex"));
  EXPECT_TRUE(raisedNaming([&] { application.onUIRefreshTimerRanOut(nullptr); }, "onUIRefreshTimerRanOut"));
}

}  // namespace
