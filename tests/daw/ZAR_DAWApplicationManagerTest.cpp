#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <condition_variable>
#include <filesystem>
#include <mutex>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "support/ProToolsTest.h"
#include "support/Rendezvous.h"

namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;
const Names kAdded{ZAR_DAWApplicationAddedNotification};
const Names kRemoved{ZAR_DAWApplicationRemovedNotification};

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
  // The notifications of applications added and removed, in order.
  Names lifecycle() const {
    Names names;
    for (const auto& name : posted()) {
      if (name == kAdded[0] || name == kRemoved[0]) names.push_back(name);
    }
    return names;
  }
  // Observes the removals, with what the manager's current application is at that moment.
  std::vector<std::shared_ptr<ZAR_DAWApplication>> _currentOnRemoval;
  zar::platform::NotificationObservation _onRemoved{
      sim.notificationCenter, std::string(ZAR_DAWApplicationRemovedNotification),
      [this](const zar::platform::Notification&) { _currentOnRemoval.push_back(_manager->currentApplication()); }};
  std::shared_ptr<ZAR_DAWApplicationManager> _manager = ZAR_DAWApplicationManager::sharedManager();
};

TEST_F(ManagerTest, StartUpRegistersDefaultsAndMakesTheSettings) {
  EXPECT_EQ(ZAR_DAWApplicationManager::sharedManager(), _manager);
  for (const char* key : {ZAR_DAWSelectEventOnListSelectionPrefKey, ZAR_DAWAssignRecordTracksAutomaticallyPrefKey,
                          ZAR_DAWAudioTrackNameCharacterPrefixPrefKey, ZAR_DAWAudioTrackNameNumRecordsPrefKey,
                          ZAR_DAWAudioTrackNameCueNumberPrefKey}) {
    EXPECT_TRUE(sim.userDefaults->boolForKey(key)) << key;
  }
  EXPECT_FALSE(sim.userDefaults->boolForKey(ZAR_DAWNotAvailableSuppression));
  EXPECT_EQ(_manager->trackModeList()->audioTrackModes()->size(), 4u);
  EXPECT_EQ(_manager->muteRecMatrix()->audioTrackModeList(), _manager->trackModeList());
  EXPECT_TRUE(std::filesystem::exists(sim.supportDirectory.file("AudioTrackModeList.bin")));
  EXPECT_TRUE(std::filesystem::exists(sim.supportDirectory.file("RecMuteMatrix.bin")));
  EXPECT_FALSE(_manager->enabled());
  EXPECT_FALSE(_manager->refreshTimer()) << "nothing runs before enabling";
}

TEST_F(ManagerTest, WhatTheSettingsFilesShowAtTheSetUpIsPostedWhereTheObserverMayAskForTheManager) {
  std::FILE* matrix = std::fopen(sim.supportDirectory.file("RecMuteMatrix.bin").c_str(), "ab");
  ASSERT_NE(matrix, nullptr);
  std::fputc('x', matrix);  // no longer what was last saved
  std::fclose(matrix);
  std::vector<std::shared_ptr<ZAR_DAWApplicationManager>> askedFor;
  const zar::platform::NotificationObservation observation(
      sim.notificationCenter, std::string(ZAR_DAWSettingsFileStatusNotification),
      [&askedFor](const zar::platform::Notification&) {
        askedFor.push_back(ZAR_DAWApplicationManager::sharedManager());  // would wait on itself in the set-up
      });
  // A manager is made per installed platform: the same services again make a new one.
  zar::platform::Platform::install(std::make_shared<zar::platform::Platform>(*zar::platform::Platform::current()));
  const auto made = ZAR_DAWApplicationManager::sharedManager();
  ASSERT_EQ(askedFor.size(), 1u);
  EXPECT_EQ(askedFor[0], made);
  EXPECT_EQ(made->settingsFileStatuses().size(), 1u);
}

TEST_F(ManagerTest, EnablingNeedsPermissionAndHappensOnce) {
  _manager->setEnabled(true);
  EXPECT_FALSE(_manager->enabled());
  sim.desktop->accessibilityHelper()->setTrusted(false);
  enable();
  EXPECT_TRUE(_manager->enabled());
  const auto timer = _manager->refreshTimer();
  ASSERT_TRUE(timer);
  EXPECT_EQ(timer->timeInterval(), 2.5);
  launchProTools();
  _manager->setEnabled(true);
  EXPECT_EQ(_manager->refreshTimer(), timer) << "no second timer";
  EXPECT_TRUE(posted().empty()) << "no second pass";
  sim.runFor(0.1);
  EXPECT_EQ(sim.desktop->accessibilityHelper()->requests().size(), 1u) << "asked once per enabling";
}

TEST_F(ManagerTest, FindsProToolsUnderEitherIdentifierFirstInWorkspaceOrder) {
  auto options = defaultOptions();
  options.bundleIdentifier = "com.digidesign.ProTools";
  const auto legacy = launchProTools(options);
  const auto current = launchProTools();
  enable();
  EXPECT_EQ(lifecycle(), kAdded);
  EXPECT_EQ(currentPid(), legacy->processIdentifier());
  EXPECT_FALSE(_manager->scanOpenApplicationsForType(1));
  quit(legacy);
  sim.runFor(2.5);
  EXPECT_EQ(currentPid(), current->processIdentifier()) << "one pass drops the old and finds the next";
  EXPECT_EQ(lifecycle(), (Names{ZAR_DAWApplicationAddedNotification, ZAR_DAWApplicationRemovedNotification,
                             ZAR_DAWApplicationAddedNotification}));
}

TEST_F(ManagerTest, ProToolsIsKeptWhileConnectedAndDroppedWhenItClosesItsSession) {
  const auto first = launchProTools();
  enable();
  const auto old = _manager->currentApplication();
  ASSERT_TRUE(old);
  EXPECT_EQ(old->name(), "Pro Tools");
  clearPosted();
  sim.runFor(10.0);
  EXPECT_TRUE(lifecycle().empty()) << "a connected application is kept without notifications";
  EXPECT_EQ(_manager->currentApplication(), old);

  first->closeSession();
  sim.runFor(2.5);
  EXPECT_EQ(lifecycle(), kRemoved) << "no edit window: the driver can't attach again";
  EXPECT_EQ(_currentOnRemoval, (std::vector{old})) << "observers of a pass's removal still find the old application";
  EXPECT_FALSE(_manager->currentApplication());
  first->openSession("Reel 2");
  sim.runFor(2.5);
  EXPECT_EQ(_manager->currentApplication()->currentProject(), " Reel 2");
}

TEST_F(ManagerTest, DisablingDropsTheApplicationAndStopsWatching) {
  enable();
  _manager->setEnabled(false);
  EXPECT_TRUE(_currentOnRemoval.empty()) << "nothing to remove";
  EXPECT_FALSE(_manager->refreshTimer());

  launchProTools();
  enable();
  ASSERT_TRUE(_manager->currentApplication());
  _manager->setEnabled(false);
  EXPECT_EQ(_currentOnRemoval, (std::vector<std::shared_ptr<ZAR_DAWApplication>>{nullptr}))
      << "observers of disabling find no application";
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
  sim.runFor(5.0);
  EXPECT_FALSE(_manager->currentApplication());
  EXPECT_TRUE(posted().empty());
  EXPECT_EQ(sim.runLoop->validTimerCount(), 1u) << "only the discovery timer";
  EXPECT_EQ(sim.notificationCenter->observerCount(), observers) << "no observation left by the failed driver";
  proTools->openSession("Reel 1");
  sim.runFor(2.5);
  EXPECT_EQ(posted(), kAdded);
  EXPECT_EQ(sim.runLoop->validTimerCount(), 2u) << "discovery and the application's refresh";
}

// Passes started together from several threads (whatever the scheduler makes of them) must neither
// make two applications nor announce one twice.
TEST(ManagerPasses, OverlappingPassesAnnounceOneApplication) {
  zar::test::SimPlatform sim(zar::sim::SimDispatch::Mode::threaded);
  const auto proTools = zar::test::launchProTools(sim);
  std::atomic<int> added{0};
  std::atomic<int> removed{0};
  zar::platform::NotificationObservation onAdded(sim.notificationCenter, std::nullopt,
                                                 [&](const zar::platform::Notification& n) {
                                                   ++(n.name == ZAR_DAWApplicationAddedNotification ? added : removed);
                                                 });
  const auto manager = ZAR_DAWApplicationManager::sharedManager();
  manager->setAllowed(true);
  const auto passesFromThreads = [&](int passes) {
    zar::test::Rendezvous start(4);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        start.arriveAndWait();
        for (int pass = 0; pass < passes; ++pass) {
          manager->refreshDAWs();
          manager->onRefreshDAWTimerRanOut(nullptr);
        }
      });
    }
    for (auto& thread : threads) thread.join();
  };
  passesFromThreads(25);
  manager->setEnabled(true);
  EXPECT_EQ(added.load(), 1);
  EXPECT_EQ(removed.load(), 0);
  sim.desktop->workspace()->quit(proTools->processIdentifier());
  passesFromThreads(1);
  // A timer's pass on the pool may be the one that found the loss; it finishes on its own.
  EXPECT_TRUE(zar::test::eventually([&] { return !manager->currentApplication(); }));
  EXPECT_EQ(removed.load(), 1);
  manager->setEnabled(false);
}

// A host's observer of "ZAR_DAWApplicationAdded", called on a pool thread, queues a UI update on
// the main run loop and waits for it, while the main thread disables the manager. Neither may wait
// for the other: the update runs, the observer returns, and the application is dropped once.
TEST(ManagerObservers, AnObserverMayWaitForTheMainThreadWhileItDisablesTheManager) {
  zar::test::SimPlatform sim(zar::sim::SimDispatch::Mode::threaded);
  const auto manager = ZAR_DAWApplicationManager::sharedManager();
  manager->setAllowed(true);
  manager->setEnabled(true);  // nothing to find yet
  zar::test::launchProTools(sim);

  std::mutex mutex;
  std::condition_variable changed;
  bool updated = false;
  bool observerSawTheUpdate = false;
  bool observerReturned = false;
  std::vector<std::shared_ptr<ZAR_DAWApplication>> currentOnRemoval;
  zar::test::Rendezvous observerWaits(2);
  zar::platform::NotificationObservation added(
      sim.notificationCenter, std::string(ZAR_DAWApplicationAddedNotification), [&](const zar::platform::Notification&) {
        sim.runLoop->perform([&] {
          std::lock_guard lock(mutex);
          updated = true;
          changed.notify_all();
        });
        observerWaits.arriveAndWait();
        std::unique_lock lock(mutex);
        observerSawTheUpdate = changed.wait_for(lock, 10s, [&] { return updated; });
        observerReturned = true;
      });
  zar::platform::NotificationObservation removed(
      sim.notificationCenter, std::string(ZAR_DAWApplicationRemovedNotification),
      [&](const zar::platform::Notification&) {
        const auto current = manager->currentApplication();
        std::lock_guard lock(mutex);
        currentOnRemoval.push_back(current);
      });

  manager->onRefreshDAWTimerRanOut(nullptr);  // the pass runs on the pool
  ASSERT_TRUE(observerWaits.arriveAndWait());
  manager->setEnabled(false);
  sim.runFor(0.1);  // the main loop runs the update

  EXPECT_TRUE(zar::test::eventually([&] {
    std::lock_guard lock(mutex);
    return observerReturned && !currentOnRemoval.empty();
  }));
  std::lock_guard lock(mutex);
  EXPECT_TRUE(observerSawTheUpdate);
  EXPECT_EQ(currentOnRemoval, (std::vector<std::shared_ptr<ZAR_DAWApplication>>{nullptr}))
      << "one removal, and it finds no application";
  EXPECT_FALSE(manager->currentApplication());
}

}  // namespace
