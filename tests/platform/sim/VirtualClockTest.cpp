#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

#include <gtest/gtest.h>

namespace {

using zar::sim::VirtualClock;

TEST(VirtualClock, SleepsAdvanceTimeNeverBackwardAndAreRecordedFromEveryThread) {
  VirtualClock clock(10.0);
  clock.sleep(0.03);
  std::thread([&] { clock.sleep(0.2); }).join();
  clock.advanceTo(4.0);
  EXPECT_DOUBLE_EQ(clock.now(), 10.23);
  clock.advanceBy(2.5);
  EXPECT_DOUBLE_EQ(clock.now(), 12.73);
  const auto sleeps = clock.sleeps();
  ASSERT_EQ(sleeps.size(), 2u);
  EXPECT_DOUBLE_EQ(sleeps[1].start, 10.03);
  EXPECT_DOUBLE_EQ(sleeps[1].duration, 0.2);
  EXPECT_EQ(sleeps[0].thread, std::this_thread::get_id());
  EXPECT_NE(sleeps[1].thread, std::this_thread::get_id());
  clock.clearSleeps();
  EXPECT_TRUE(clock.sleeps().empty());
}

TEST(VirtualClock, AFiniteWaitSettlesAtTheCurrentTimeThenJumpsToTheDeadline) {
  VirtualClock clock(0.0);
  std::mutex mutex;
  std::condition_variable cv;
  std::vector<double> settledAt;
  bool waiterLockFree = false;
  std::unique_lock lock(mutex);
  clock.waitUntil(cv, lock, 0.5);  // without a hook
  clock.setSettleHook([&] {
    settledAt.push_back(clock.now());
    waiterLockFree = mutex.try_lock();
    if (waiterLockFree) mutex.unlock();
  });
  clock.waitUntil(cv, lock, 1.5);
  clock.waitUntil(cv, lock, 4.0);
  EXPECT_EQ(settledAt, (std::vector<double>{0.5, 1.5}));
  EXPECT_TRUE(waiterLockFree) << "the waiter's lock is released while the world settles";
  EXPECT_TRUE(lock.owns_lock());
  EXPECT_DOUBLE_EQ(clock.now(), 4.0);
}

}  // namespace
