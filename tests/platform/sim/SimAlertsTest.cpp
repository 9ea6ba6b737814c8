#include "ZAR_DAWControl/platform/sim/SimAlerts.h"

#include <gtest/gtest.h>

#include <limits>

#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::platform::AlertAlternateReturn;
using zar::platform::AlertDefaultReturn;
using zar::platform::AlertOtherReturn;
using zar::sim::SimAlerts;

zar::platform::AlertRequest warning(bool withBox) {
  zar::platform::AlertRequest request;
  request.messageText = "Can't establish HUI connection";
  request.defaultButton = "OK";
  request.showsSuppressionButton = withBox;
  request.suppressionButtonTitle = "Don't show this again";
  return request;
}

class SimAlertsTest : public ::testing::Test {
 protected:
  std::shared_ptr<zar::sim::VirtualClock> clock = std::make_shared<zar::sim::VirtualClock>(100.0);
  std::shared_ptr<zar::native::MainRunLoop> runLoop = std::make_shared<zar::native::MainRunLoop>(clock);
  SimAlerts alerts{clock, runLoop};
};

TEST_F(SimAlertsTest, ScriptedAnswersAreTakenInOrderButCantUseWhatTheAlertLacks) {
  auto checked = warning(true);
  checked.suppressionButtonChecked = true;
  EXPECT_EQ(alerts.runModal(checked).buttonReturn, AlertDefaultReturn);
  EXPECT_TRUE(alerts.shownAlerts()[0].response.suppressionButtonChecked) << "unscripted: closed as requested";

  auto withButtons = warning(false);
  withButtons.alternateButton = "Cancel";
  withButtons.otherButton = "More";
  for (const SimAlerts::ScriptedAnswer answer :
       {SimAlerts::ScriptedAnswer{AlertAlternateReturn, true, 0}, {AlertAlternateReturn, false, 0}, {AlertOtherReturn, true, 0}}) {
    alerts.enqueueAnswer(answer);
  }
  EXPECT_EQ(alerts.pendingAnswers(), 3u);
  const auto plain = alerts.runModal(warning(false));
  EXPECT_EQ(plain.buttonReturn, AlertDefaultReturn) << "no alternate button to press";
  EXPECT_FALSE(plain.suppressionButtonChecked) << "no box to tick";
  EXPECT_EQ(alerts.runModal(withButtons).buttonReturn, AlertAlternateReturn);
  EXPECT_EQ(alerts.runModal(withButtons).buttonReturn, AlertOtherReturn);
  const auto shown = alerts.shownAlerts();
  ASSERT_EQ(shown.size(), 4u);
  EXPECT_EQ(shown[0].request.suppressionButtonTitle, "Don't show this again");
  EXPECT_TRUE(shown[0].onMainThread);
  EXPECT_DOUBLE_EQ(clock->now(), 100.0) << "answers without delay take no time";
}

TEST_F(SimAlertsTest, WhileTheUserThinksTheMainLoopRunsNestedAndMayRaiseAnotherAlert) {
  int ticks = 0;
  auto timer = runLoop->scheduleRepeatingTimer(0.5, [&] { ++ticks; });
  runLoop->perform([&] { alerts.runModal(warning(true)); });
  alerts.enqueueAnswer({AlertDefaultReturn, false, 2.0});
  alerts.enqueueAnswer({AlertDefaultReturn, true, 0});
  EXPECT_FALSE(alerts.runModal(warning(true)).suppressionButtonChecked);
  EXPECT_EQ(ticks, 4);
  EXPECT_DOUBLE_EQ(clock->now(), 102.0);
  const auto shown = alerts.shownAlerts();
  ASSERT_EQ(shown.size(), 2u);
  EXPECT_TRUE(shown[1].response.suppressionButtonChecked) << "raised during the first, takes the next answer";
  EXPECT_DOUBLE_EQ(shown[1].time, 100.0);
}

TEST_F(SimAlertsTest, OffTheMainThreadOrWithoutARunLoopTimeJumps) {
  std::thread([&] { alerts.runModal(warning(false)); }).join();
  EXPECT_FALSE(alerts.shownAlerts().at(0).onMainThread);
  SimAlerts loopless(clock, nullptr);
  loopless.enqueueAnswer({AlertDefaultReturn, false, 3.0});
  loopless.enqueueAnswer({AlertDefaultReturn, false, std::numeric_limits<double>::infinity()});
  loopless.runModal(warning(false));
  EXPECT_DOUBLE_EQ(clock->now(), 103.0);
  loopless.runModal(warning(false));
  EXPECT_DOUBLE_EQ(clock->now(), 103.0);
}

}  // namespace
