#include "ZAR_DAWControl/platform/default/SimulatedProToolsHost.h"

#include <gtest/gtest.h>

#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "support/TemporaryDirectory.h"

namespace {

using zar::platform::SimulatedProToolsHost;

// Pro Tools is launched with its HUI side on the framework's ports: the framework finds it, and is
// ready for a pass only once Pro Tools pinged and every track's lamps are known.
TEST(SimulatedProToolsHost, ReadyForAPassOnceHUIAnsweredAndTheLampsAreKnown) {
  const zar::test::TemporaryDirectory directory;
  SimulatedProToolsHost::Options options;
  options.virtualTime = true;
  options.supportDirectory = directory.path();
  SimulatedProToolsHost studio(options);
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
