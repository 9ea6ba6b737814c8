#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <limits>
#include <thread>

#include "ZAR_DAWControl/platform/linux/SystemClock.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "support/Rendezvous.h"
#include "support/Watchdog.h"

namespace {

using namespace std::chrono_literals;
using zar::native::MainRunLoop;
using zar::platform::TimerRef;
using zar::sim::VirtualClock;
using Events = std::vector<std::string>;

// Counts the loop's waits with nothing scheduled. The loop holds its lock when it starts one and
// lets go only inside the wait, so work handed over after the count moved finds the loop waiting.
class IdleCountingClock final : public zar::platform::Clock {
 public:
  explicit IdleCountingClock(std::shared_ptr<zar::platform::Clock> inner) : _inner(std::move(inner)) {}
  double now() const override { return _inner->now(); }
  void sleep(double seconds) override { _inner->sleep(seconds); }
  void waitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, double deadline) override {
    if (std::isinf(deadline)) ++idleWaits;
    _inner->waitUntil(cv, lock, deadline);
  }
  std::atomic<int> idleWaits{0};

 private:
  std::shared_ptr<zar::platform::Clock> _inner;
};

class MainRunLoopTest : public ::testing::Test {
 protected:
  // Runs the loop until it is stopped, or fails the test after ten seconds of real time.
  void runUntilStopped() {
    zar::test::Watchdog watchdog(10s, [this] { loop.stop(); });
    loop.run();
    EXPECT_FALSE(watchdog.fired()) << "the loop didn't stop";
  }

  std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>(1000.0);
  MainRunLoop loop{clock};
};

TEST_F(MainRunLoopTest, TimersFireOnTheGridOfTheirSchedulingAndSkipDatesAlreadyPast) {
  std::vector<double> fires;
  auto timer = loop.scheduleRepeatingTimer(2.5, [&] { fires.push_back(clock->now()); });
  EXPECT_DOUBLE_EQ(timer->timeInterval(), 2.5);
  loop.runFor(10);  // the fire due exactly at the end of the run is included
  EXPECT_EQ(fires, (std::vector<double>{1002.5, 1005.0, 1007.5, 1010.0}));
  loop.runFor(2.0);
  EXPECT_EQ(fires.size(), 4u);

  fires.clear();
  clock->advanceTo(1020.1);  // the loop was busy elsewhere for three intervals: one fire, no burst
  loop.runFor(2.5);
  EXPECT_EQ(fires, (std::vector<double>{1020.1, 1022.5}));

  // A callback that outlasts its interval causes no catch-up fires either.
  auto slowClock = std::make_shared<VirtualClock>(0.0);
  MainRunLoop slowLoop(slowClock);
  fires.clear();
  auto slow = slowLoop.scheduleRepeatingTimer(1.0, [&] {
    fires.push_back(slowClock->now());
    if (fires.size() == 1) slowClock->sleep(3.5);
  });
  slowLoop.runFor(6);
  EXPECT_EQ(fires, (std::vector<double>{1.0, 5.0, 6.0}));

  // Overdue timers fire in order of their fire dates: slow since 1.5, fast since 1.0.
  Events order;
  auto late = loop.scheduleRepeatingTimer(1.5, [&] { order.push_back("slow"); });
  auto early = loop.scheduleRepeatingTimer(1.0, [&] { order.push_back("fast"); });
  clock->advanceBy(3.2);
  loop.runFor(1.5);  // then fast at +4, slow at +4.5 (+3 was skipped for slow)
  EXPECT_EQ(order, (Events{"fast", "slow", "fast", "slow"}));
}

TEST_F(MainRunLoopTest, TheLoopKeepsATimerUntilItIsInvalidatedFromAnyThread) {
  int fires = 0;
  auto token = std::make_shared<int>(7);
  std::weak_ptr<zar::platform::Timer> weak = loop.scheduleRepeatingTimer(1.0, [&fires, token] { ++fires; });
  loop.runFor(3);
  EXPECT_EQ(fires, 3);
  ASSERT_FALSE(weak.expired()) << "the loop holds the timer";
  std::thread([timer = weak.lock()] { timer->invalidate(); }).join();
  EXPECT_EQ(token.use_count(), 1) << "an invalidated timer releases its callback";
  loop.runFor(3);
  EXPECT_EQ(fires, 3);
  EXPECT_TRUE(weak.expired()) << "and the loop drops it";

  TimerRef self;
  self = loop.scheduleRepeatingTimer(1.0, [&] {
    if (++fires == 5) self->invalidate();
  });
  loop.runFor(10);
  EXPECT_EQ(fires, 5);
  EXPECT_FALSE(self->isValid());
  EXPECT_EQ(loop.validTimerCount(), 0u);
}

TEST_F(MainRunLoopTest, BadIntervalsAndEmptyWorkGetADefinedMeaning) {
  for (double interval : {0.0, -3.0, std::nan("")}) {
    int fires = 0;
    auto timer = loop.scheduleRepeatingTimer(interval, [&] { ++fires; });
    EXPECT_DOUBLE_EQ(timer->timeInterval(), 0.0001);
    loop.runFor(0.01);
    EXPECT_NEAR(fires, 100, 1);
    timer->invalidate();
  }
  int neverFires = 0;
  auto never = loop.scheduleRepeatingTimer(std::numeric_limits<double>::infinity(), [&] { ++neverFires; });
  auto empty = loop.scheduleRepeatingTimer(1.0, nullptr);
  loop.perform(nullptr);
  loop.runFor(100);
  EXPECT_EQ(neverFires, 0);
  EXPECT_TRUE(empty->isValid());
}

TEST_F(MainRunLoopTest, PerformedWorkWaitsForTheLoopOnTheConstructingThreadAndRunsInOrder) {
  std::vector<int> order;
  for (int i = 0; i < 3; ++i) loop.perform([&order, i] { order.push_back(i); });
  bool otherIsMain = true;
  std::thread([&] {
    otherIsMain = loop.isMainThread();
    loop.run();  // off the main thread: logged and refused
    loop.runFor(1);
  }).join();
  EXPECT_TRUE(loop.isMainThread());
  EXPECT_FALSE(otherIsMain);
  EXPECT_TRUE(order.empty());
  loop.runFor(-1);  // not positive, not a number: one pass, time stands still
  loop.perform([&] { order.push_back(3); });
  loop.runFor(std::nan(""));
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3}));
  EXPECT_DOUBLE_EQ(clock->now(), 1000.0);
}

TEST_F(MainRunLoopTest, NestedRunsKeepTimersGoingButNeverReenterOne) {
  Events events;
  bool inModal = false;
  int modalTicks = 0;
  TimerRef inner;
  auto modal = loop.scheduleRepeatingTimer(1.0, [&] {
    EXPECT_FALSE(inModal) << "fired again from inside its own callback";
    if (++modalTicks > 1) return;
    inModal = true;
    loop.perform([&] { events.push_back("performed"); });
    inner = loop.scheduleRepeatingTimer(0.75, [&] { events.push_back(inModal ? "tick in modal" : "tick"); });
    loop.runFor(2.0);  // callbacks may use the loop: its lock is not held
    inModal = false;
    events.push_back("modal ends");
  });
  loop.runFor(3.5);
  EXPECT_EQ(events, (Events{"performed", "tick in modal", "tick in modal", "modal ends", "tick"}));
  EXPECT_EQ(modalTicks, 2) << "the timer fires again once its callback has returned";
}

TEST_F(MainRunLoopTest, StopEndsOnlyTheInnermostRunAndIsKeptForARunNotYetStarted) {
  Events events;
  loop.perform([&] {
    loop.perform([&] { loop.stop(); });
    loop.run();
    events.push_back("inner run ended");
    loop.perform([&] { loop.stop(); });
  });
  runUntilStopped();
  EXPECT_EQ(events, (Events{"inner run ended"}));

  loop.stop();
  runUntilStopped();
  int ticks = 0;
  auto timer = loop.scheduleRepeatingTimer(1.0, [&] { ++ticks; });
  loop.runFor(3);
  EXPECT_EQ(ticks, 3) << "the stop was used up by the first run";
}

TEST(MainRunLoopThreads, WorkOrATimerFromAnotherThreadWakesAnIdleLoop) {
  auto idle = std::make_shared<IdleCountingClock>(std::make_shared<VirtualClock>(1000.0));
  MainRunLoop loop(idle);
  Events events;
  TimerRef timer;
  std::thread producer([&] {
    // Each hand-over waits until the loop has gone idle since the last one; a loop that missed a
    // wake-up would hang, and the watchdog would end the test.
    for (int handOver = 1; handOver <= 2; ++handOver) {
      if (!zar::test::eventually([&] { return idle->idleWaits.load() >= handOver; })) return loop.stop();
      if (handOver == 1) {
        loop.perform([&] { events.push_back("work"); });
      } else {
        timer = loop.scheduleRepeatingTimer(5.0, [&] {
          events.push_back("timer");
          loop.stop();
        });
      }
    }
  });
  zar::test::Watchdog watchdog(10s, [&] { loop.stop(); });
  loop.run();
  producer.join();
  EXPECT_FALSE(watchdog.fired());
  EXPECT_EQ(events, (Events{"work", "timer"}));
  EXPECT_DOUBLE_EQ(idle->now(), 1005.0) << "idle waits don't move virtual time";
}

// On the system clock a timer never fires before its date on the grid, however late the loop runs.
TEST(MainRunLoopThreads, OnTheSystemClockTimersNeverFireEarly) {
  auto clock = std::make_shared<zar::native::SystemClock>();
  MainRunLoop loop(clock);
  std::vector<double> fires;
  const double start = clock->now();
  auto timer = loop.scheduleRepeatingTimer(0.01, [&] {
    fires.push_back(clock->now() - start);
    if (fires.size() == 3) loop.stop();
  });
  zar::test::Watchdog watchdog(10s, [&] { loop.stop(); });
  loop.run();
  ASSERT_EQ(fires.size(), 3u);
  for (std::size_t i = 0; i < fires.size(); ++i) EXPECT_GE(fires[i], 0.01 * static_cast<double>(i + 1) - 1e-9);
}

}  // namespace
