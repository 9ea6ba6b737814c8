#include "ZAR_DAWControl/platform/default/SimulatedProToolsHost.h"

#include <gtest/gtest.h>

#include <thread>

#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "support/TemporaryDirectory.h"

namespace {

using zar::platform::SimulatedProToolsHost;

SimulatedProToolsHost::Options studioOptions(bool virtualTime, const zar::test::TemporaryDirectory& directory) {
  SimulatedProToolsHost::Options options;
  options.virtualTime = virtualTime;
  options.supportDirectory = directory.path();
  return options;
}

class SimulatedProToolsHostTest : public testing::TestWithParam<bool> {};

// dawctl's real-time host and its virtual-time one alike: work handed to the main thread from a
// host thread runs on the loop the host runs.
TEST_P(SimulatedProToolsHostTest, WarningFromAHostThreadShows) {
  const zar::test::TemporaryDirectory directory;
  SimulatedProToolsHost studio(studioOptions(GetParam(), directory));
  ASSERT_EQ(zar::platform::Platform::installed(), studio.platform());
  std::thread hostThread([] { ZAR_DAWApplication::showNoRecTrackSelectedWarning(); });
  hostThread.join();
  studio.runFor(0);
  const auto shown = studio.desktop()->alerts()->shownAlerts();
  ASSERT_EQ(shown.size(), 1u);
  EXPECT_EQ(shown[0].request.messageText, "Can't start recording");
  EXPECT_TRUE(shown[0].onMainThread);
}

INSTANTIATE_TEST_SUITE_P(RealAndVirtualTime, SimulatedProToolsHostTest, testing::Bool());

// Pro Tools is launched with its HUI side on the framework's ports: the framework finds it, and is
// ready for a pass only once Pro Tools pinged and every track's lamps are known.
TEST(SimulatedProToolsHost, ReadyForAPassOnceHUIAnsweredAndTheLampsAreKnown) {
  const zar::test::TemporaryDirectory directory;
  SimulatedProToolsHost studio(studioOptions(true, directory));
  ASSERT_TRUE(studio.proTools());
  EXPECT_EQ(studio.platform()->userDefaults->stringForKey(ZAR_MIDISystem::kBackendPrefKey), "loopback");
  const auto manager = ZAR_DAWApplicationManager::sharedManager();
  manager->setAllowed(true);
  manager->setEnabled(true);
  const auto application = manager->currentApplication();
  ASSERT_TRUE(application);
  EXPECT_EQ(application->audioTracks().size(), 4u);
  EXPECT_FALSE(application->readyForPass()) << "lamps can't be known before the first bank was shown";
  studio.runFor(5);
  EXPECT_TRUE(application->readyForPass());
  studio.proTools()->huiHost()->setPinging(false);
  studio.runFor(3);
  EXPECT_FALSE(application->readyForPass()) << "no ping for 3 s";
  manager->setEnabled(false);
}

}  // namespace
