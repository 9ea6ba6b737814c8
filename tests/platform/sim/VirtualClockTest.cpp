#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

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

TEST(VirtualClock, AFiniteWaitJumpsToTheDeadline) {
  VirtualClock clock(0.0);
  std::mutex mutex;
  std::condition_variable cv;
  std::unique_lock lock(mutex);
  clock.waitUntil(cv, lock, 2.5);
  EXPECT_DOUBLE_EQ(clock.now(), 2.5);
  EXPECT_TRUE(lock.owns_lock());
}

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
