#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <limits>
#include <thread>

#include "ZAR_DAWControl/platform/sim/SimAlerts.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::platform::AlertAlternateReturn;
using zar::platform::AlertDefaultReturn;
using zar::platform::AlertOtherReturn;
using zar::platform::AlertRequest;
using zar::platform::RunLoop;
using zar::platform::Timer;
using zar::platform::TimerRef;
using zar::sim::SimAlerts;
using zar::sim::VirtualClock;

// A single-threaded main run loop on the virtual clock: enough to see that a modal alert keeps
// timers firing while the user takes their time.
class VirtualRunLoop final : public RunLoop {
 public:
  explicit VirtualRunLoop(std::shared_ptr<VirtualClock> clock) : _clock(std::move(clock)) {}

  TimerRef scheduleRepeatingTimer(double interval, std::function<void()> fire) override {
    auto timer = std::make_shared<RepeatingTimer>(interval, _clock->now() + interval, std::move(fire));
    _timers.push_back(timer);
    return timer;
  }
  void perform(std::function<void()> work) override { _work.push_back(std::move(work)); }
  bool isMainThread() const override { return std::this_thread::get_id() == _mainThread; }
  // Nothing here stops a run, so a plain run does what is due now.
  void run() override { runFor(0); }
  void runFor(double seconds) override {
    runSpans.push_back(seconds);
    const double deadline = _clock->now() + seconds;
    for (;;) {
      while (!_work.empty()) {
        auto work = std::move(_work.front());
        _work.pop_front();
        work();
      }
      std::shared_ptr<RepeatingTimer> next;
      for (const auto& timer : _timers) {
        if (timer->isValid() && timer->due <= deadline && (!next || timer->due < next->due)) {
          next = timer;
        }
      }
      if (!next) {
        break;
      }
      _clock->advanceTo(next->due);
      next->due += next->timeInterval();
      next->fire();
    }
    _clock->advanceTo(deadline);
  }
  void stop() override {}

  std::vector<double> runSpans;

 private:
  struct RepeatingTimer final : Timer {
    RepeatingTimer(double interval, double firstFire, std::function<void()> callback)
        : _interval(interval), due(firstFire), fire(std::move(callback)) {}
    void invalidate() override { _valid = false; }
    bool isValid() const override { return _valid; }
    double timeInterval() const override { return _interval; }
    double _interval;
    bool _valid = true;
    double due;
    std::function<void()> fire;
  };

  std::shared_ptr<VirtualClock> _clock;
  std::thread::id _mainThread = std::this_thread::get_id();
  std::vector<std::shared_ptr<RepeatingTimer>> _timers;
  std::deque<std::function<void()>> _work;
};

AlertRequest warning(bool withBox) {
  AlertRequest request;
  request.messageText = "Can't establish HUI connection";
  request.informativeText = "Check the ports.";
  request.defaultButton = "OK";
  request.showsSuppressionButton = withBox;
  request.suppressionButtonTitle = "Don't show this again";
  return request;
}

class SimAlertsTest : public ::testing::Test {
 protected:
  std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>(100.0);
  std::shared_ptr<VirtualRunLoop> runLoop = std::make_shared<VirtualRunLoop>(clock);
  SimAlerts alerts{clock, runLoop};
};

TEST_F(SimAlertsTest, WithoutAScriptTheDefaultButtonClosesTheAlertAsRequested) {
  auto request = warning(true);
  request.suppressionButtonChecked = true;
  const auto response = alerts.runModal(request);
  EXPECT_EQ(response.buttonReturn, AlertDefaultReturn);
  EXPECT_TRUE(response.suppressionButtonChecked);
  const auto shown = alerts.shownAlerts();
  ASSERT_EQ(shown.size(), 1u);
  EXPECT_EQ(shown[0].request.messageText, "Can't establish HUI connection");
  EXPECT_EQ(shown[0].request.suppressionButtonTitle, "Don't show this again");
  EXPECT_TRUE(shown[0].onMainThread);
  EXPECT_DOUBLE_EQ(shown[0].time, 100.0);
  EXPECT_TRUE(runLoop->runSpans.empty());
}

TEST_F(SimAlertsTest, ScriptedAnswersAreTakenInOrder) {
  alerts.enqueueAnswer({AlertDefaultReturn, true, 0});
  alerts.enqueueAnswer({AlertDefaultReturn, false, 0});
  EXPECT_EQ(alerts.pendingAnswers(), 2u);
  EXPECT_TRUE(alerts.runModal(warning(true)).suppressionButtonChecked);
  EXPECT_FALSE(alerts.runModal(warning(true)).suppressionButtonChecked);
  EXPECT_EQ(alerts.pendingAnswers(), 0u);
  const auto shown = alerts.shownAlerts();
  ASSERT_EQ(shown.size(), 2u);
  EXPECT_TRUE(shown[0].response.suppressionButtonChecked);
  EXPECT_FALSE(shown[1].response.suppressionButtonChecked);
}

TEST_F(SimAlertsTest, AnswersCantTickAMissingBoxOrPressAMissingButton) {
  alerts.enqueueAnswer({AlertAlternateReturn, true, 0});
  const auto response = alerts.runModal(warning(false));
  EXPECT_EQ(response.buttonReturn, AlertDefaultReturn);
  EXPECT_FALSE(response.suppressionButtonChecked);

  auto withButtons = warning(false);
  withButtons.alternateButton = "Cancel";
  withButtons.otherButton = "More";
  alerts.enqueueAnswer({AlertAlternateReturn, false, 0});
  alerts.enqueueAnswer({AlertOtherReturn, false, 0});
  EXPECT_EQ(alerts.runModal(withButtons).buttonReturn, AlertAlternateReturn);
  EXPECT_EQ(alerts.runModal(withButtons).buttonReturn, AlertOtherReturn);
}

TEST_F(SimAlertsTest, WhileTheUserThinksTheMainLoopRunsNested) {
  int ticks = 0;
  runLoop->scheduleRepeatingTimer(0.5, [&] { ++ticks; });
  alerts.enqueueAnswer({AlertDefaultReturn, true, 2.0});
  const auto response = alerts.runModal(warning(true));
  EXPECT_TRUE(response.suppressionButtonChecked);
  EXPECT_EQ(runLoop->runSpans, (std::vector<double>{2.0}));
  EXPECT_EQ(ticks, 4);
  EXPECT_DOUBLE_EQ(clock->now(), 102.0);
}

TEST_F(SimAlertsTest, AnAlertRaisedDuringAnotherTakesTheNextAnswer) {
  runLoop->perform([&] { alerts.runModal(warning(true)); });
  alerts.enqueueAnswer({AlertDefaultReturn, false, 1.0});
  alerts.enqueueAnswer({AlertDefaultReturn, true, 0});
  const auto outer = alerts.runModal(warning(true));
  EXPECT_FALSE(outer.suppressionButtonChecked);
  const auto shown = alerts.shownAlerts();
  ASSERT_EQ(shown.size(), 2u);
  EXPECT_FALSE(shown[0].response.suppressionButtonChecked);
  EXPECT_TRUE(shown[1].response.suppressionButtonChecked);
  EXPECT_DOUBLE_EQ(shown[1].time, 100.0);
}

TEST_F(SimAlertsTest, OffTheMainThreadOrWithoutARunLoop) {
  std::thread([&] { alerts.runModal(warning(false)); }).join();
  EXPECT_FALSE(alerts.shownAlerts().at(0).onMainThread);

  SimAlerts loopless(clock, nullptr);
  loopless.enqueueAnswer({AlertDefaultReturn, false, 3.0});
  loopless.enqueueAnswer({AlertDefaultReturn, false, std::numeric_limits<double>::infinity()});
  loopless.runModal(warning(false));
  EXPECT_FALSE(loopless.shownAlerts().at(0).onMainThread);
  EXPECT_DOUBLE_EQ(clock->now(), 103.0);
  loopless.runModal(warning(false));
  EXPECT_DOUBLE_EQ(clock->now(), 103.0);
}

}  // namespace
