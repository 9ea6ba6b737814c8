#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ZAR_DAWControl/platform/linux/SystemClock.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::native::MainRunLoop;
using zar::platform::TimerRef;
using zar::sim::VirtualClock;

// Stops the loop if a test has not finished in real time, so a broken loop fails instead of
// hanging the suite.
class Watchdog {
 public:
  explicit Watchdog(zar::platform::RunLoop& loop, std::chrono::seconds limit = std::chrono::seconds(10))
      : _thread([this, &loop, limit] {
          std::unique_lock lock(_mutex);
          if (!_done.wait_for(lock, limit, [this] { return _finished; })) {
            _fired = true;
            lock.unlock();
            loop.stop();
          }
        }) {}
  ~Watchdog() {
    {
      std::lock_guard lock(_mutex);
      _finished = true;
    }
    _done.notify_all();
    _thread.join();
  }
  bool fired() {
    std::lock_guard lock(_mutex);
    return _fired;
  }

 private:
  std::mutex _mutex;
  std::condition_variable _done;
  bool _finished = false;
  bool _fired = false;
  std::thread _thread;
};

class MainRunLoopVirtualTime : public ::testing::Test {
 protected:
  std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>(1000.0);
  MainRunLoop loop{clock};
};

TEST_F(MainRunLoopVirtualTime, TimerFiresOneIntervalAfterSchedulingAndThenRepeats) {
  std::vector<double> fires;
  auto timer = loop.scheduleRepeatingTimer(2.5, [&] { fires.push_back(clock->now()); });
  EXPECT_TRUE(timer->isValid());
  EXPECT_DOUBLE_EQ(timer->timeInterval(), 2.5);

  loop.runFor(10);

  // The fire due exactly at the end of the run is included.
  EXPECT_EQ(fires, (std::vector<double>{1002.5, 1005.0, 1007.5, 1010.0}));
  EXPECT_DOUBLE_EQ(clock->now(), 1010.0);

  loop.runFor(2.0);
  EXPECT_EQ(fires.size(), 4u);
  loop.runFor(0.5);
  EXPECT_EQ(fires.size(), 5u);
}

TEST_F(MainRunLoopVirtualTime, FireDatesAlreadyPastAreSkippedNotFiredInABurst) {
  std::vector<double> fires;
  auto timer = loop.scheduleRepeatingTimer(1.0, [&] { fires.push_back(clock->now()); });

  clock->advanceTo(1003.5);  // the loop was busy elsewhere for three intervals
  loop.runFor(0);
  EXPECT_EQ(fires, (std::vector<double>{1003.5}));

  loop.runFor(1.0);  // keeps to the grid of the scheduling time
  EXPECT_EQ(fires, (std::vector<double>{1003.5, 1004.0}));
}

TEST_F(MainRunLoopVirtualTime, ACallbackThatOutlastsItsIntervalDoesNotCauseCatchUpFires) {
  std::vector<double> fires;
  auto timer = loop.scheduleRepeatingTimer(1.0, [&] {
    fires.push_back(clock->now());
    if (fires.size() == 1) {
      clock->sleep(3.5);
    }
  });
  loop.runFor(6);
  EXPECT_EQ(fires, (std::vector<double>{1001.0, 1005.0, 1006.0}));
}

TEST_F(MainRunLoopVirtualTime, TimersFireInOrderOfTheirFireDates) {
  std::vector<std::string> fires;
  auto slow = loop.scheduleRepeatingTimer(1.5, [&] { fires.push_back("slow"); });
  auto fast = loop.scheduleRepeatingTimer(1.0, [&] { fires.push_back("fast"); });
  clock->advanceTo(1003.2);  // both overdue: slow since 1001.5, fast since 1001
  loop.runFor(0);
  loop.runFor(1.5);  // fast at 1004, slow at 1004.5 (1003 was skipped for slow)
  EXPECT_EQ(fires, (std::vector<std::string>{"fast", "slow", "fast", "slow"}));
}

TEST_F(MainRunLoopVirtualTime, TheLoopKeepsATimerUntilItIsInvalidated) {
  int fires = 0;
  auto token = std::make_shared<int>(7);
  std::weak_ptr<zar::platform::Timer> weak;
  {
    auto timer = loop.scheduleRepeatingTimer(1.0, [&fires, token] { ++fires; });
    weak = timer;
  }
  loop.runFor(3);
  EXPECT_EQ(fires, 3);
  ASSERT_FALSE(weak.expired());

  weak.lock()->invalidate();
  EXPECT_EQ(token.use_count(), 1) << "an invalidated timer must release its callback";
  loop.runFor(3);
  EXPECT_EQ(fires, 3);
  EXPECT_TRUE(weak.expired()) << "an invalidated timer must be dropped by the loop";
}

TEST_F(MainRunLoopVirtualTime, InvalidateFromAnotherThreadStopsTheTimer) {
  int fires = 0;
  auto timer = loop.scheduleRepeatingTimer(1.0, [&] { ++fires; });
  loop.runFor(2.5);
  ASSERT_EQ(fires, 2);

  std::thread([timer] { timer->invalidate(); }).join();

  EXPECT_FALSE(timer->isValid());
  loop.runFor(10);
  EXPECT_EQ(fires, 2);
}

TEST_F(MainRunLoopVirtualTime, InvalidateFromItsOwnCallbackStopsTheTimer) {
  int fires = 0;
  auto token = std::make_shared<int>(1);
  TimerRef timer;
  timer = loop.scheduleRepeatingTimer(1.0, [&fires, &timer, token] {
    if (++fires == 3) {
      timer->invalidate();
    }
  });
  loop.runFor(10);
  EXPECT_EQ(fires, 3);
  EXPECT_FALSE(timer->isValid());
  EXPECT_EQ(token.use_count(), 1);
}

TEST_F(MainRunLoopVirtualTime, CallbacksMayUseTheLoopBecauseItsLockIsNotHeld) {
  std::vector<std::string> events;
  TimerRef inner;
  auto outer = loop.scheduleRepeatingTimer(1.0, [&] {
    EXPECT_TRUE(loop.isMainThread());
    if (!inner) {
      events.push_back("outer");
      loop.perform([&] { events.push_back("performed"); });
      inner = loop.scheduleRepeatingTimer(0.5, [&] { events.push_back("inner"); });
    }
  });
  loop.runFor(1.5);
  EXPECT_EQ(events, (std::vector<std::string>{"outer", "performed", "inner"}));
}

TEST_F(MainRunLoopVirtualTime, BadIntervalsGetADefinedMeaning) {
  for (double interval : {0.0, -3.0, std::nan("")}) {
    int fires = 0;
    auto timer = loop.scheduleRepeatingTimer(interval, [&] { ++fires; });
    EXPECT_DOUBLE_EQ(timer->timeInterval(), 0.0001);
    loop.runFor(0.01);
    EXPECT_GE(fires, 99);
    EXPECT_LE(fires, 101);
    timer->invalidate();
  }

  int neverFires = 0;
  auto never = loop.scheduleRepeatingTimer(std::numeric_limits<double>::infinity(), [&] { ++neverFires; });
  auto empty = loop.scheduleRepeatingTimer(1.0, nullptr);
  loop.runFor(100);
  EXPECT_EQ(neverFires, 0);
  EXPECT_TRUE(empty->isValid());
}

TEST_F(MainRunLoopVirtualTime, PerformedWorkRunsInOrderOnTheMainThread) {
  std::vector<int> order;
  for (int i = 0; i < 5; ++i) {
    loop.perform([&order, i] { order.push_back(i); });
  }
  loop.perform(nullptr);
  EXPECT_TRUE(order.empty()) << "work must wait for the loop";
  loop.runFor(0);
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

TEST_F(MainRunLoopVirtualTime, NonPositiveRunTimesRunOnePassWithoutMovingTime) {
  int runs = 0;
  loop.perform([&] { ++runs; });
  loop.runFor(-1);
  loop.perform([&] { ++runs; });
  loop.runFor(std::nan(""));
  EXPECT_EQ(runs, 2);
  EXPECT_DOUBLE_EQ(clock->now(), 1000.0);
}

TEST_F(MainRunLoopVirtualTime, TimersKeepFiringInsideANestedRunOfAPerformedTask) {
  std::vector<std::string> events;
  bool inModal = false;
  auto timer = loop.scheduleRepeatingTimer(1.0, [&] { events.push_back(inModal ? "tick in modal" : "tick"); });
  loop.perform([&] {
    events.push_back("modal begins");
    inModal = true;
    loop.runFor(2.0);
    inModal = false;
    events.push_back("modal ends");
    loop.stop();
  });
  loop.perform([&] { events.push_back("queued behind the modal"); });

  Watchdog watchdog(loop);
  loop.run();

  EXPECT_FALSE(watchdog.fired());
  EXPECT_EQ(events, (std::vector<std::string>{"modal begins", "queued behind the modal", "tick in modal",
                                              "tick in modal", "modal ends"}));
}

TEST_F(MainRunLoopVirtualTime, ATimerIsNotReenteredWhileItsCallbackRunsTheLoop) {
  int modalTicks = 0;
  int otherTicksDuringModal = 0;
  bool inModal = false;
  auto modal = loop.scheduleRepeatingTimer(1.0, [&] {
    EXPECT_FALSE(inModal) << "fired again from inside its own callback";
    if (++modalTicks == 1) {
      inModal = true;
      loop.runFor(5.0);
      inModal = false;
    }
  });
  auto other = loop.scheduleRepeatingTimer(1.0, [&] { otherTicksDuringModal += inModal ? 1 : 0; });
  loop.runFor(6.5);
  EXPECT_GE(otherTicksDuringModal, 5);
  EXPECT_GE(modalTicks, 2) << "the timer must fire again once its callback has returned";
}

TEST_F(MainRunLoopVirtualTime, StopEndsOnlyTheInnermostRun) {
  std::vector<std::string> events;
  loop.perform([&] {
    loop.perform([&] { loop.stop(); });
    loop.run();
    events.push_back("inner run ended");
    loop.perform([&] { loop.stop(); });
  });
  Watchdog watchdog(loop);
  loop.run();
  EXPECT_FALSE(watchdog.fired());
  events.push_back("outer run ended");
  EXPECT_EQ(events, (std::vector<std::string>{"inner run ended", "outer run ended"}));
}

TEST_F(MainRunLoopVirtualTime, StopBeforeRunMakesTheNextRunReturnAtOnceAndOnlyThatOne) {
  loop.stop();
  Watchdog watchdog(loop);
  loop.run();
  EXPECT_FALSE(watchdog.fired());

  int ticks = 0;
  auto timer = loop.scheduleRepeatingTimer(1.0, [&] { ++ticks; });
  loop.runFor(3);
  EXPECT_EQ(ticks, 3) << "the stop must have been used up by the first run";
}

TEST_F(MainRunLoopVirtualTime, StopFromAnotherThreadEndsRun) {
  std::thread stopper;
  loop.perform([&] { stopper = std::thread([this] { loop.stop(); }); });
  Watchdog watchdog(loop);
  loop.run();
  stopper.join();
  EXPECT_FALSE(watchdog.fired());
}

TEST_F(MainRunLoopVirtualTime, AnUnboundedWaitBlocksUntilWorkIsPerformed) {
  std::thread producer([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    loop.perform([this] { loop.stop(); });
  });
  Watchdog watchdog(loop);
  loop.run();
  producer.join();
  EXPECT_FALSE(watchdog.fired());
  EXPECT_DOUBLE_EQ(clock->now(), 1000.0) << "waiting with nothing scheduled must not move virtual time";
}

TEST_F(MainRunLoopVirtualTime, WorkFromSeveralThreadsRunsOnTheMainThreadInOrderPerProducer) {
  constexpr int producers = 4;
  constexpr int perProducer = 200;
  std::vector<std::vector<int>> seen(producers);
  int total = 0;
  bool allOnMain = true;
  std::vector<std::thread> threads;
  for (int p = 0; p < producers; ++p) {
    threads.emplace_back([&, p] {
      for (int i = 0; i < perProducer; ++i) {
        loop.perform([&, p, i] {
          allOnMain = allOnMain && loop.isMainThread();
          seen[static_cast<std::size_t>(p)].push_back(i);
          if (++total == producers * perProducer) {
            loop.stop();
          }
        });
      }
    });
  }
  Watchdog watchdog(loop);
  loop.run();
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_FALSE(watchdog.fired());
  EXPECT_TRUE(allOnMain);
  for (const auto& values : seen) {
    ASSERT_EQ(values.size(), static_cast<std::size_t>(perProducer));
    for (int i = 0; i < perProducer; ++i) {
      EXPECT_EQ(values[static_cast<std::size_t>(i)], i);
    }
  }
}

TEST_F(MainRunLoopVirtualTime, OnlyTheConstructingThreadIsMainAndMayRunTheLoop) {
  bool otherIsMain = true;
  int ran = 0;
  loop.perform([&] { ++ran; });
  std::thread([&] {
    otherIsMain = loop.isMainThread();
    loop.run();
    loop.runFor(1);
  }).join();
  EXPECT_TRUE(loop.isMainThread());
  EXPECT_FALSE(otherIsMain);
  EXPECT_EQ(ran, 0);
  loop.runFor(0);
  EXPECT_EQ(ran, 1);
}

TEST(MainRunLoopRealTime, ATimerScheduledFromAnotherThreadWakesAnIdleLoop) {
  MainRunLoop loop(std::make_shared<zar::native::SystemClock>());
  TimerRef timer;
  std::thread scheduler([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    timer = loop.scheduleRepeatingTimer(0.01, [&] {
      EXPECT_TRUE(loop.isMainThread());
      loop.stop();
    });
  });
  Watchdog watchdog(loop);
  loop.run();
  scheduler.join();
  EXPECT_FALSE(watchdog.fired());
}

TEST(MainRunLoopRealTime, ShortTimerFiresRepeatedlyWithinARun) {
  MainRunLoop loop(std::make_shared<zar::native::SystemClock>());
  int fires = 0;
  auto timer = loop.scheduleRepeatingTimer(0.01, [&] { ++fires; });
  loop.runFor(0.1);
  EXPECT_GE(fires, 2);
  EXPECT_LE(fires, 10);
}

}  // namespace
