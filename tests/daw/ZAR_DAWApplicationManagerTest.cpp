#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "support/ProToolsTest.h"

namespace {

const std::vector<std::string> kAdded{ZAR_DAWApplicationAddedNotification};
const std::vector<std::string> kRemoved{ZAR_DAWApplicationRemovedNotification};

class ManagerTest : public zar::test::ProToolsTest {
 protected:
  void enable() {
    _manager->setAllowed(true);
    _manager->setEnabled(true);
  }
  std::int32_t currentPid() const {
    const auto application = _manager->currentApplication();
    return application ? application->processIdentifier() : 0;
  }

  std::shared_ptr<ZAR_DAWApplicationManager> _manager = ZAR_DAWApplicationManager::sharedManager();
};

TEST_F(ManagerTest, StartUpRegistersDefaultsAndMakesTheSettings) {
  EXPECT_EQ(ZAR_DAWApplicationManager::sharedManager(), _manager);
  for (const char* key : {ZAR_DAWSelectEventOnListSelectionPrefKey, ZAR_DAWAssignRecordTracksAutomaticallyPrefKey,
                          ZAR_DAWAudioTrackNameCharacterPrefixPrefKey, ZAR_DAWAudioTrackNameNumRecordsPrefKey,
                          ZAR_DAWAudioTrackNameCueNumberPrefKey}) {
    EXPECT_TRUE(sim.userDefaults->boolForKey(key)) << key;
  }
  EXPECT_EQ(_manager->trackModeList()->audioTrackModes()->size(), 4u);
  EXPECT_EQ(_manager->muteRecMatrix()->audioTrackModeList(), _manager->trackModeList());
  EXPECT_TRUE(std::filesystem::exists(sim.supportDirectory.file("AudioTrackModeList.bin")));
  EXPECT_TRUE(std::filesystem::exists(sim.supportDirectory.file("RecMuteMatrix.bin")));
  EXPECT_FALSE(_manager->enabled());
  EXPECT_FALSE(_manager->refreshTimer()) << "nothing runs before enabling";
}

TEST_F(ManagerTest, EnablingNeedsPermissionAndHappensOnce) {
  _manager->setEnabled(true);
  EXPECT_FALSE(_manager->enabled());
  EXPECT_FALSE(_manager->refreshTimer());

  sim.desktop->accessibilityHelper()->setTrusted(false);
  enable();
  EXPECT_TRUE(_manager->enabled());
  const auto timer = _manager->refreshTimer();
  ASSERT_TRUE(timer);
  EXPECT_EQ(timer->timeInterval(), 2.5);
  sim.runFor(0.1);
  EXPECT_EQ(sim.desktop->accessibilityHelper()->requests().size(), 1u) << "asked once per enabling";

  launchProTools();
  _manager->setEnabled(true);
  EXPECT_EQ(_manager->refreshTimer(), timer) << "no second timer";
  EXPECT_TRUE(posted().empty()) << "no second pass";
  sim.runFor(0.1);
  EXPECT_EQ(sim.desktop->accessibilityHelper()->requests().size(), 1u);
}

TEST_F(ManagerTest, FindsProToolsUnderEitherIdentifierFirstInWorkspaceOrder) {
  auto options = defaultOptions();
  options.bundleIdentifier = "com.digidesign.ProTools";
  const auto legacy = launchProTools(options);
  const auto current = launchProTools();
  enable();
  EXPECT_EQ(posted(), kAdded);
  EXPECT_EQ(currentPid(), legacy->processIdentifier());
  EXPECT_FALSE(_manager->scanOpenApplicationsForType(1));
  EXPECT_EQ(_manager->scanOpenApplicationsForType(ZAR_DAWApplicationTypeProTools)->processIdentifier,
            legacy->processIdentifier());
  quit(legacy);
  sim.runFor(2.5);
  EXPECT_EQ(currentPid(), current->processIdentifier()) << "one pass drops the old and finds the next";
}

TEST_F(ManagerTest, ConnectedApplicationIsKeptWithoutNotifications) {
  launchProTools();
  enable();
  const auto application = _manager->currentApplication();
  ASSERT_TRUE(application);
  EXPECT_EQ(application->name(), "Pro Tools");
  clearPosted();
  sim.runFor(10.0);
  EXPECT_EQ(_manager->currentApplication(), application);
  EXPECT_TRUE(std::count(posted().begin(), posted().end(), ZAR_DAWApplicationAddedNotification) == 0);
  EXPECT_TRUE(std::count(posted().begin(), posted().end(), ZAR_DAWApplicationRemovedNotification) == 0);
}

TEST_F(ManagerTest, QuittingAndRestartingProTools) {
  const auto first = launchProTools();
  enable();
  std::shared_ptr<ZAR_DAWApplication> seenOnRemoval;
  zar::platform::NotificationObservation onRemoved(
      sim.notificationCenter, std::string(ZAR_DAWApplicationRemovedNotification),
      [&](const zar::platform::Notification&) { seenOnRemoval = _manager->currentApplication(); });
  const auto old = _manager->currentApplication();
  clearPosted();

  quit(first);
  sim.runFor(2.5);
  EXPECT_EQ(posted(), kRemoved);
  EXPECT_EQ(seenOnRemoval, old) << "observers of a pass's removal still find the old application";
  EXPECT_FALSE(_manager->currentApplication());

  clearPosted();
  const auto second = launchProTools();
  sim.runFor(2.5);
  EXPECT_EQ(posted(), kAdded);
  EXPECT_EQ(currentPid(), second->processIdentifier());
}

TEST_F(ManagerTest, ClosingTheSessionDropsTheApplication) {
  const auto proTools = launchProTools();
  enable();
  clearPosted();
  proTools->closeSession();
  sim.runFor(2.5);
  EXPECT_EQ(posted(), kRemoved) << "no edit window: the driver can't attach again";
  proTools->openSession("Reel 2");
  clearPosted();
  sim.runFor(2.5);
  EXPECT_EQ(posted(), kAdded);
  EXPECT_EQ(_manager->currentApplication()->currentProject(), " Reel 2");
}

TEST_F(ManagerTest, DisablingDropsTheApplicationAndStopsWatching) {
  std::shared_ptr<ZAR_DAWApplication> seenOnRemoval = nullptr;
  bool removedPosted = false;
  zar::platform::NotificationObservation onRemoved(sim.notificationCenter,
                                                   std::string(ZAR_DAWApplicationRemovedNotification),
                                                   [&](const zar::platform::Notification&) {
                                                     removedPosted = true;
                                                     seenOnRemoval = _manager->currentApplication();
                                                   });
  enable();
  _manager->setEnabled(false);
  EXPECT_FALSE(removedPosted) << "nothing to remove";
  EXPECT_FALSE(_manager->refreshTimer());

  launchProTools();
  enable();
  ASSERT_TRUE(_manager->currentApplication());
  _manager->setEnabled(false);
  EXPECT_TRUE(removedPosted);
  EXPECT_FALSE(seenOnRemoval) << "observers of disabling find no application";
  EXPECT_FALSE(_manager->currentApplication());
  clearPosted();
  sim.runFor(10.0);
  EXPECT_TRUE(posted().empty());
  EXPECT_EQ(sim.runLoop->validTimerCount(), 0u) << "the application's refresh timer ended with it";
}

TEST_F(ManagerTest, AProToolsWithoutSessionIsRetriedAndLeavesNothingBehind) {
  auto options = defaultOptions();
  options.sessionName = std::nullopt;
  const auto proTools = launchProTools(options);
  const auto observers = sim.notificationCenter->observerCount();
  enable();
  EXPECT_FALSE(_manager->currentApplication());
  EXPECT_TRUE(posted().empty());
  EXPECT_EQ(sim.runLoop->validTimerCount(), 1u) << "only the discovery timer";
  EXPECT_EQ(sim.notificationCenter->observerCount(), observers) << "no observation left by the failed driver";

  sim.runFor(5.0);
  EXPECT_TRUE(posted().empty());
  proTools->openSession("Reel 1");
  sim.runFor(2.5);
  EXPECT_EQ(posted(), kAdded);
  EXPECT_EQ(sim.runLoop->validTimerCount(), 2u) << "discovery and the application's refresh";
}

// Passes from several threads at once must neither make two applications nor announce one twice.
TEST(ManagerPasses, OverlappingPassesAnnounceOneApplication) {
  zar::test::SimPlatform sim(zar::sim::SimDispatch::Mode::threaded);
  auto options = zar::test::ProToolsTest::defaultOptions();
  options.processIdentifier = sim.desktop->workspace()->unusedProcessIdentifier();
  const auto proTools = std::make_shared<zar::sim::SimProTools>(options);
  sim.desktop->workspace()->launch(proTools);

  std::atomic<int> added{0};
  std::atomic<int> removed{0};
  zar::platform::NotificationObservation onAdded(
      sim.notificationCenter, std::string(ZAR_DAWApplicationAddedNotification),
      [&](const zar::platform::Notification&) { ++added; });
  zar::platform::NotificationObservation onRemoved(
      sim.notificationCenter, std::string(ZAR_DAWApplicationRemovedNotification),
      [&](const zar::platform::Notification&) { ++removed; });

  const auto manager = ZAR_DAWApplicationManager::sharedManager();
  manager->setAllowed(true);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int pass = 0; pass < 25; ++pass) {
        manager->refreshDAWs();
        manager->onRefreshDAWTimerRanOut(nullptr);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  manager->setEnabled(true);
  EXPECT_EQ(added.load(), 1);
  EXPECT_EQ(removed.load(), 0);

  sim.desktop->workspace()->quit(proTools->processIdentifier());
  threads.clear();
  for (int i = 0; i < 4; ++i) threads.emplace_back([&] { manager->refreshDAWs(); });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(removed.load(), 1);
  EXPECT_FALSE(manager->currentApplication());
  manager->setEnabled(false);
}

}  // namespace
