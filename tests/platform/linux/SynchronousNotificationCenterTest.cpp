#include <gtest/gtest.h>

#include <any>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"

namespace {

using zar::native::SynchronousNotificationCenter;
using zar::platform::Notification;
using zar::platform::NotificationObservation;

TEST(SynchronousNotificationCenter, DeliversOnThePostingThreadBeforePostReturns) {
  SynchronousNotificationCenter center;
  std::thread::id deliveredOn;
  bool delivered = false;
  center.addObserver("Added", [&](const Notification&) {
    deliveredOn = std::this_thread::get_id();
    delivered = true;
  });
  std::thread poster([&] {
    center.post("Added");
    EXPECT_TRUE(delivered) << "delivery happens inside post";
    EXPECT_EQ(deliveredOn, std::this_thread::get_id());
  });
  const auto posterId = poster.get_id();
  poster.join();
  EXPECT_EQ(deliveredOn, posterId);
}

TEST(SynchronousNotificationCenter, DeliversByNameInOrderOfAdditionWithTheObject) {
  SynchronousNotificationCenter center;
  std::vector<std::string> calls;
  center.addObserver("A", [&](const Notification& n) { calls.push_back("first:" + n.name); });
  center.addObserver(std::nullopt, [&](const Notification& n) { calls.push_back("any:" + n.name); });
  center.addObserver("B", [&](const Notification& n) { calls.push_back("b:" + n.name); });
  center.addObserver("", [&](const Notification& n) { calls.push_back("empty:" + n.name); });
  center.addObserver("A", [&](const Notification& n) {
    calls.push_back("last:" + n.name + ":" + std::to_string(std::any_cast<int>(n.object)));
  });

  center.post("A", 42);
  center.post("B");
  center.post("C");
  EXPECT_EQ(calls, (std::vector<std::string>{"first:A", "any:A", "empty:A", "last:A:42", "any:B", "b:B", "empty:B",
                                             "any:C", "empty:C"}));
}

TEST(SynchronousNotificationCenter, RemovedObserverIsNotCalledAndUnknownIdsAreIgnored) {
  SynchronousNotificationCenter center;
  int calls = 0;
  const auto id = center.addObserver("N", [&](const Notification&) { ++calls; });
  center.post("N");
  center.removeObserver(id);
  center.removeObserver(id);
  center.removeObserver(12345);
  center.post("N");
  EXPECT_EQ(calls, 1);
}

TEST(SynchronousNotificationCenter, ObserverRemovingItselfDoesNotDeadlockAndHearsNoMore) {
  SynchronousNotificationCenter center;
  int selfCalls = 0;
  int otherCalls = 0;
  SynchronousNotificationCenter::ObserverId self = 0;
  self = center.addObserver("N", [&](const Notification&) {
    ++selfCalls;
    center.removeObserver(self);
  });
  center.addObserver("N", [&](const Notification&) { ++otherCalls; });
  center.post("N");
  center.post("N");
  EXPECT_EQ(selfCalls, 1);
  EXPECT_EQ(otherCalls, 2);
}

TEST(SynchronousNotificationCenter, PostDeliversToTheObserversPresentWhenItStarted) {
  SynchronousNotificationCenter center;
  std::vector<std::string> calls;
  SynchronousNotificationCenter::ObserverId victim = 0;
  center.addObserver("N", [&](const Notification&) {
    calls.push_back("first");
    if (victim != 0) {
      center.removeObserver(victim);
      victim = 0;
      center.addObserver("N", [&](const Notification&) { calls.push_back("late"); });
    }
  });
  victim = center.addObserver("N", [&](const Notification&) { calls.push_back("victim"); });

  center.post("N");
  EXPECT_EQ(calls, (std::vector<std::string>{"first"})) << "removed before its turn: skipped; added: not yet";
  calls.clear();
  center.post("N");
  EXPECT_EQ(calls, (std::vector<std::string>{"first", "late"}));
}

TEST(SynchronousNotificationCenter, NestedPostsReachEveryObserver) {
  SynchronousNotificationCenter center;
  std::vector<std::string> calls;
  center.addObserver("Outer", [&](const Notification&) {
    calls.push_back("outer");
    center.post("Inner");
  });
  center.addObserver("Inner", [&](const Notification&) { calls.push_back("inner"); });
  center.post("Outer");
  EXPECT_EQ(calls, (std::vector<std::string>{"outer", "inner"}));
}

TEST(SynchronousNotificationCenter, RemovalFromAnotherThreadWaitsForTheRunningCall) {
  SynchronousNotificationCenter center;
  std::promise<void> entered;
  std::promise<void> removing;
  std::atomic<bool> finished{false};
  std::atomic<int> calls{0};
  const auto id = center.addObserver("N", [&, removingStarted = removing.get_future().share()](const Notification&) {
    if (calls.fetch_add(1) == 0) {
      entered.set_value();
      removingStarted.wait();
      // Give a removal that doesn't wait the chance to return first.
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      finished = true;
    }
  });
  std::thread poster([&] { center.post("N"); });
  entered.get_future().wait();

  std::thread remover([&] {
    removing.set_value();
    center.removeObserver(id);
    EXPECT_TRUE(finished.load()) << "removeObserver returned while the callback was still running";
  });
  remover.join();
  poster.join();
  center.post("N");
  EXPECT_EQ(calls.load(), 1);
}

TEST(SynchronousNotificationCenter, CapturedStateIsReleasedWhenTheObservationEnds) {
  SynchronousNotificationCenter center;
  auto token = std::make_shared<int>(0);
  const std::weak_ptr<int> watch = token;
  const auto id = center.addObserver("N", [token](const Notification&) {});
  token.reset();
  center.post("N");
  EXPECT_FALSE(watch.expired());
  center.removeObserver(id);
  EXPECT_TRUE(watch.expired());

  // Removed from inside its own call: released once that call has returned.
  auto selfToken = std::make_shared<int>(0);
  const std::weak_ptr<int> selfWatch = selfToken;
  bool expiredInside = true;
  SynchronousNotificationCenter::ObserverId self = 0;
  self = center.addObserver("M", [&, selfToken](const Notification&) {
    center.removeObserver(self);
    expiredInside = selfWatch.expired();
  });
  selfToken.reset();
  center.post("M");
  EXPECT_FALSE(expiredInside);
  EXPECT_TRUE(selfWatch.expired());
}

TEST(SynchronousNotificationCenter, ThrowingCallbackLeavesTheObserverRemovable) {
  SynchronousNotificationCenter center;
  const auto id = center.addObserver("N", [](const Notification&) { throw std::runtime_error("observer failed"); });
  EXPECT_THROW(center.post("N"), std::runtime_error);
  // From another thread a stale running call would make this wait forever.
  std::thread remover([&] { center.removeObserver(id); });
  remover.join();
  EXPECT_NO_THROW(center.post("N"));
}

TEST(SynchronousNotificationCenter, ObserverIsNeverCalledAfterItsRemovalUnderConcurrentPosts) {
  SynchronousNotificationCenter center;
  constexpr int posters = 3;
  constexpr int observers = 200;
  std::atomic<bool> posting{true};
  std::atomic<int> lateCalls{0};
  std::atomic<long> delivered{0};

  std::vector<std::thread> threads;
  for (int p = 0; p < posters; ++p) {
    threads.emplace_back([&] {
      while (posting.load()) center.post("N");
    });
  }
  for (int i = 0; i < observers; ++i) {
    auto removed = std::make_shared<std::atomic<bool>>(false);
    const auto id = center.addObserver("N", [&, removed](const Notification&) {
      if (removed->load()) ++lateCalls;
      ++delivered;
    });
    std::this_thread::yield();
    center.removeObserver(id);
    removed->store(true);
  }
  posting = false;
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(lateCalls.load(), 0);
  EXPECT_GT(delivered.load(), 0);
}

TEST(NotificationObservation, EndsTheObservationWhenDestroyedResetOrReplaced) {
  auto center = std::make_shared<SynchronousNotificationCenter>();
  int first = 0;
  int second = 0;
  {
    NotificationObservation observation(center, "N", [&](const Notification&) { ++first; });
    EXPECT_TRUE(observation.active());
    center->post("N");
  }
  center->post("N");
  EXPECT_EQ(first, 1);

  NotificationObservation moved;
  {
    NotificationObservation original(center, "N", [&](const Notification&) { ++second; });
    moved = std::move(original);
    EXPECT_FALSE(original.active());  // NOLINT(bugprone-use-after-move): moved-from state is defined
  }
  center->post("N");
  EXPECT_EQ(second, 1) << "the moved-to owner keeps it alive";
  moved = NotificationObservation(center, "N", [&](const Notification&) { first += 10; });
  center->post("N");
  EXPECT_EQ(second, 1) << "replacing the observation ended the old one";
  EXPECT_EQ(first, 11);
  moved.reset();
  EXPECT_FALSE(moved.active());
  center->post("N");
  EXPECT_EQ(first, 11);
}

}  // namespace
