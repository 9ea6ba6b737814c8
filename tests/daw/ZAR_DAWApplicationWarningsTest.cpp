#include <gtest/gtest.h>

#include "ZAR_DAWControl/daw/ZAR_DAWApplication.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "support/SimPlatform.h"

namespace {

class WarningsTest : public testing::Test {
 protected:
  std::vector<zar::sim::SimAlerts::ShownAlert> shown() const { return _sim.desktop->alerts()->shownAlerts(); }
  zar::test::SimPlatform _sim;
};

TEST_F(WarningsTest, DAWNotAvailableWarningShowsOnTheMainThreadUntilTheUserSuppressesIt) {
  std::thread([] { ZAR_DAWApplication::showDAWNotAvailableWarning(); }).join();
  EXPECT_TRUE(shown().empty()) << "handed to the main thread, not shown on the host's";
  _sim.runFor(0.1);
  auto alerts = shown();
  ASSERT_EQ(alerts.size(), 1u);
  EXPECT_TRUE(alerts[0].onMainThread);
  const auto& request = alerts[0].request;
  EXPECT_EQ(request.messageText, "Can't establish DAW connection");
  EXPECT_EQ(request.informativeText,
            "Can't continue the operation as either the DAW is not opened or no valid session is loaded.");
  EXPECT_EQ(request.defaultButton, "OK");
  EXPECT_FALSE(request.alternateButton || request.otherButton || request.suppressionButtonChecked);
  EXPECT_TRUE(request.showsSuppressionButton);
  EXPECT_EQ(request.suppressionButtonTitle, "Don't show this again");
  // Closed with the box unticked: stored as NO, and shown again next time.
  EXPECT_EQ(_sim.userDefaults->objectForKey(ZAR_DAWNotAvailableSuppression), zar::platform::PropertyValue(false));

  _sim.desktop->alerts()->enqueueAnswer({zar::platform::AlertDefaultReturn, true, 0});
  ZAR_DAWApplication::showDAWNotAvailableWarning();
  EXPECT_TRUE(_sim.userDefaults->boolForKey(ZAR_DAWNotAvailableSuppression));
  ZAR_DAWApplication::showDAWNotAvailableWarning();
  EXPECT_EQ(shown().size(), 2u) << "suppressed";
}

TEST_F(WarningsTest, NoRecTrackWarningShowsEveryTimeWithoutABox) {
  _sim.userDefaults->setBool(true, ZAR_DAWNotAvailableSuppression);
  _sim.userDefaults->setBool(true, ZAR_DAWHUINotAvailableSuppression);
  ZAR_DAWApplication::showNoRecTrackSelectedWarning();
  ZAR_DAWApplication::showNoRecTrackSelectedWarning();
  const auto alerts = shown();
  ASSERT_EQ(alerts.size(), 2u);
  const auto& request = alerts[1].request;
  EXPECT_EQ(request.messageText, "Can't start recording");
  EXPECT_EQ(request.informativeText,
            "Can't continue the operation as no record track is selected for the selected take. Select a record "
            "track from the dropdown menu in the table and try again.");
  EXPECT_EQ(request.defaultButton, "OK");
  EXPECT_FALSE(request.showsSuppressionButton);
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
