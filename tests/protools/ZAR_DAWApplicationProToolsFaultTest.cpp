#include <gtest/gtest.h>

#include <algorithm>

#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/ProToolsTest.h"

namespace {

// Pro Tools busy for a moment, or a track deleted under the framework's feet.
using ProToolsFaultTest = zar::test::EnabledProToolsTest;

TEST_F(ProToolsFaultTest, OneFailedReadIsConfirmedBeforeProToolsCountsAsGone) {
  for (const auto error : {zar::platform::AXError::cannotComplete, zar::platform::AXError::failure}) {
    _proTools->selectionStartField()->failNextCalls(error, 1);
    sim.runFor(2.5);  // a discovery pass asks whether the application is still connected
    EXPECT_EQ(_manager->currentApplication(), _application);
    EXPECT_TRUE(_application->ZAR_DAWApplication::connected());
  }
  EXPECT_EQ(std::count(posted().begin(), posted().end(), ZAR_DAWApplicationRemovedNotification), 0);

  _proTools->selectionStartField()->setFailure(zar::platform::AXError::cannotComplete);
  sim.runFor(2.5);
  EXPECT_FALSE(_manager->currentApplication()) << "a failure that lasts is Pro Tools gone";
}

// The second track is deleted in Pro Tools after discovery; the aux track slides into its place.
TEST_F(ProToolsFaultTest, ADeletedRowIsNotToggledAndTheTracksAreFoundAgain) {
  auto muteDuring = std::make_shared<ZAR_DAWAudioTrackMode>();
  muteDuring->setBeforeState(ZAR_DAWTrackStatePlay);
  muteDuring->setDuringState(ZAR_DAWTrackStateMute);
  muteDuring->setAfterState(ZAR_DAWTrackStatePlay);
  _manager->muteRecMatrix()->setRehearseMode(muteDuring, 1);
  const auto deleted = _application->audioTracks().at(1);
  _proTools->removeTrack(1);

  deleted->setMuted(true, true);
  EXPECT_FALSE(deleted->muted()) << "nothing toggled, so the cache stays";
  EXPECT_TRUE(deleted->takeRowVanished());
  EXPECT_FALSE(deleted->takeRowVanished()) << "told once";

  auto driver = std::dynamic_pointer_cast<ZAR_DAWApplicationProTools>(_application);
  ASSERT_TRUE(driver);
  driver->updateAudioTracksForMode(ZAR_DAWModeRehearse, ZAR_DAWEventPhaseDuring);
  EXPECT_FALSE(_proTools->trackMuted(1)) << "the aux track that slid into the position is left alone";
  ASSERT_EQ(_application->audioTracks().size(), 2u) << "found again";
  EXPECT_EQ(_application->audioTracks().at(1)->name(), "FX ");
}

}  // namespace
