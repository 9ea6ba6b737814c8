#include <gtest/gtest.h>

#include <limits>
#include <thread>

#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/sim/SimAlerts.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::platform::AlertAlternateReturn;
using zar::platform::AlertDefaultReturn;
using zar::platform::AlertOtherReturn;
using zar::platform::AlertRequest;
using zar::sim::SimAlerts;
using zar::sim::VirtualClock;

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
  std::shared_ptr<zar::native::MainRunLoop> runLoop = std::make_shared<zar::native::MainRunLoop>(clock);
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
  EXPECT_DOUBLE_EQ(clock->now(), 100.0) << "an answer without delay takes no time";
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
