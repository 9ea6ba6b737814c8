#include <gtest/gtest.h>

#include <thread>

#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::sim::VirtualClock;

TEST(VirtualClock, SleepsAdvanceTimeAndAreRecorded) {
  VirtualClock clock(10.0);
  clock.sleep(0.03);
  clock.sleep(0.2);
  EXPECT_DOUBLE_EQ(clock.now(), 10.23);
  const auto sleeps = clock.sleeps();
  ASSERT_EQ(sleeps.size(), 2u);
  EXPECT_DOUBLE_EQ(sleeps[0].start, 10.0);
  EXPECT_DOUBLE_EQ(sleeps[0].duration, 0.03);
  EXPECT_DOUBLE_EQ(sleeps[1].start, 10.03);
  EXPECT_EQ(sleeps[1].thread, std::this_thread::get_id());
  clock.clearSleeps();
  EXPECT_TRUE(clock.sleeps().empty());
}

TEST(VirtualClock, TimeNeverMovesBackward) {
  VirtualClock clock(5.0);
  clock.advanceTo(4.0);
  EXPECT_DOUBLE_EQ(clock.now(), 5.0);
  clock.advanceBy(2.5);
  EXPECT_DOUBLE_EQ(clock.now(), 7.5);
}

TEST(VirtualClock, FiniteWaitJumpsToTheDeadlineWithoutWaiting) {
  VirtualClock clock(0.0);
  std::mutex mutex;
  std::condition_variable cv;
  std::unique_lock lock(mutex);
  clock.waitUntil(cv, lock, 2.5);
  EXPECT_DOUBLE_EQ(clock.now(), 2.5);
  EXPECT_TRUE(lock.owns_lock());
}

TEST(VirtualClock, SleepsFromSeveralThreadsAreAllRecorded) {
  VirtualClock clock(0.0);
  std::thread a([&] { for (int i = 0; i < 100; ++i) clock.sleep(0.01); });
  std::thread b([&] { for (int i = 0; i < 100; ++i) clock.sleep(0.01); });
  a.join();
  b.join();
  EXPECT_EQ(clock.sleeps().size(), 200u);
  EXPECT_NEAR(clock.now(), 2.0, 1e-9);
}

}  // namespace

namespace {

TEST(VirtualClock, SettlesAtTheCurrentTimeBeforeAWaitJumps) {
  zar::sim::VirtualClock clock(0.0);
  std::mutex mutex;
  std::condition_variable cv;
  std::vector<double> settledAt;
  bool waiterLockFree = false;
  clock.setSettleHook([&] {
    settledAt.push_back(clock.now());
    waiterLockFree = mutex.try_lock();
    if (waiterLockFree) mutex.unlock();
  });
  std::unique_lock lock(mutex);
  clock.waitUntil(cv, lock, 1.5);
  clock.waitUntil(cv, lock, 4.0);
  EXPECT_EQ(settledAt, (std::vector<double>{0.0, 1.5}));
  EXPECT_TRUE(waiterLockFree) << "the waiter's lock is released while the world settles";
  EXPECT_TRUE(lock.owns_lock());
  EXPECT_DOUBLE_EQ(clock.now(), 4.0);
}

}  // namespace
