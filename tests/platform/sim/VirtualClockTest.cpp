#include <gtest/gtest.h>

#include <thread>

#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"

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

TEST(VirtualClock, TheRunLoopSettlesBeforeTimeJumpsAndKeepsWhatSettlingScheduled) {
  // A timer that the settling world schedules (a MIDI thread's deadline, say) fires at its own
  // date, not at the date the loop was about to jump to.
  auto clock = std::make_shared<zar::sim::VirtualClock>(0.0);
  zar::native::MainRunLoop loop(clock);
  std::vector<double> fired;
  const auto late = loop.scheduleRepeatingTimer(5.0, [&] { fired.push_back(clock->now()); });
  zar::platform::TimerRef early;
  clock->setSettleHook([&] {
    if (!early) {
      early = loop.scheduleRepeatingTimer(1.5, [&] {
        fired.push_back(clock->now());
        early->invalidate();
      });
    }
  });
  loop.runFor(6.0);
  EXPECT_EQ(fired, (std::vector<double>{1.5, 5.0}));
}

}  // namespace
