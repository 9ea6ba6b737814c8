#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "support/ProToolsTest.h"
#include "support/Rendezvous.h"

namespace {

using namespace std::chrono_literals;

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
