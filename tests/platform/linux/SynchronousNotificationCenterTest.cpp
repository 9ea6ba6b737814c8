#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"

#include <gtest/gtest.h>

#include <any>
#include <future>
#include <stdexcept>
#include <thread>

#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "support/Rendezvous.h"

namespace {

using zar::native::SynchronousNotificationCenter;
using zar::platform::Notification;
using zar::platform::NotificationObservation;
using Calls = std::vector<std::string>;

TEST(SynchronousNotificationCenter, DeliversByNameInOrderOfAdditionOnThePostingThread) {
  SynchronousNotificationCenter center;
  Calls calls;
  std::thread::id deliveredOn;
  center.addObserver("A", [&](const Notification& n) { calls.push_back("first:" + n.name); });
  center.addObserver(std::nullopt, [&](const Notification& n) { calls.push_back("any:" + n.name); });
  center.addObserver("B", [&](const Notification& n) { calls.push_back("b:" + n.name); });
  center.addObserver("", [&](const Notification& n) { calls.push_back("empty:" + n.name); });
  center.addObserver("A", [&](const Notification& n) {
    calls.push_back("last:" + std::to_string(std::any_cast<int>(n.object)));
    deliveredOn = std::this_thread::get_id();
  });
  center.addObserver("A", nullptr);

  std::thread poster([&] {
    center.post("A", 42);
    EXPECT_EQ(calls.size(), 4u) << "delivered before post returns";
  });
  const auto posterId = poster.get_id();
  poster.join();
  center.post("B");
  center.post("C");
  EXPECT_EQ(deliveredOn, posterId);
  EXPECT_EQ(calls, (Calls{"first:A", "any:A", "empty:A", "last:42", "any:B", "b:B", "empty:B", "any:C", "empty:C"}));
}

TEST(SynchronousNotificationCenter, APostReachesTheObserversPresentWhenItStarted) {
  SynchronousNotificationCenter center;
  Calls calls;
  SynchronousNotificationCenter::ObserverId self = 0;
  SynchronousNotificationCenter::ObserverId victim = 0;
  self = center.addObserver("N", [&](const Notification&) {
    calls.push_back("self");
    center.removeObserver(self);  // from inside its own call: no deadlock
    center.removeObserver(victim);
    center.addObserver("N", [&](const Notification&) { calls.push_back("late"); });
    center.post("Inner");
  });
  victim = center.addObserver("N", [&](const Notification&) { calls.push_back("victim"); });
  center.addObserver("Inner", [&](const Notification&) { calls.push_back("inner"); });

  center.post("N");
  EXPECT_EQ(calls, (Calls{"self", "inner"})) << "removed before its turn: skipped; added: not yet";
  calls.clear();
  center.post("N");
  center.removeObserver(victim);
  center.removeObserver(12345);
  EXPECT_EQ(calls, (Calls{"late"}));
  EXPECT_EQ(center.observerCount(), 2u);
}

TEST(SynchronousNotificationCenter, CapturedStateIsReleasedWhenTheObservationEndsAndAThrowingCallbackLeavesNoTrace) {
  SynchronousNotificationCenter center;
  auto token = std::make_shared<int>(0);
  const std::weak_ptr<int> watch = token;
  bool expiredInside = true;
  SynchronousNotificationCenter::ObserverId self = 0;
  self = center.addObserver("N", [&, token](const Notification&) {
    center.removeObserver(self);
    expiredInside = watch.expired();
  });
  const auto other = center.addObserver("M", [token](const Notification&) {});
  token.reset();
  center.post("N");
  EXPECT_FALSE(expiredInside) << "removed from inside its own call: released once that call has returned";
  EXPECT_FALSE(watch.expired());
  center.removeObserver(other);
  EXPECT_TRUE(watch.expired());

  const auto id = center.addObserver("N", [](const Notification&) { throw std::runtime_error("observer failed"); });
  EXPECT_THROW(center.post("N"), std::runtime_error);
  // From another thread a stale running call would make this wait forever.
  std::thread([&] { center.removeObserver(id); }).join();
  EXPECT_NO_THROW(center.post("N"));
}

// The callback holds on until the remover has taken the observer out (the count drops), then
// gives a remover that doesn't wait a bounded chance to return; a correct one can't, whatever the
// scheduling.
TEST(SynchronousNotificationCenter, RemovalFromAnotherThreadWaitsForTheRunningCall) {
  SynchronousNotificationCenter center;
  std::promise<void> entered;
  std::mutex mutex;
  std::condition_variable changed;
  bool removerReturned = false;
  bool returnedDuringCall = true;
  const auto id = center.addObserver("N", [&](const Notification&) {
    entered.set_value();
    EXPECT_TRUE(zar::test::eventually([&] { return center.observerCount() == 0; }));
    std::unique_lock lock(mutex);
    returnedDuringCall = changed.wait_for(lock, std::chrono::milliseconds(50), [&] { return removerReturned; });
  });
  std::thread poster([&] { center.post("N"); });
  entered.get_future().wait();
  std::thread remover([&] {
    center.removeObserver(id);
    std::lock_guard lock(mutex);
    removerReturned = true;
    changed.notify_all();
  });
  remover.join();
  poster.join();
  EXPECT_FALSE(returnedDuringCall) << "removeObserver returned while the callback was still running";
}

TEST(NotificationObservation, EndsTheObservationWhenDestroyedResetOrReplaced) {
  auto center = std::make_shared<SynchronousNotificationCenter>();
  Calls calls;
  const auto observe = [&](const std::string& label) {
    return NotificationObservation(center, "N", [&calls, label](const Notification&) { calls.push_back(label); });
  };
  {
    const auto scoped = observe("scoped");
    center->post("N");
  }
  NotificationObservation moved;
  {
    auto original = observe("moved");
    moved = std::move(original);
    EXPECT_FALSE(original.active());  // NOLINT(bugprone-use-after-move): moved-from state is defined
  }
  center->post("N");
  moved = observe("replacement");
  center->post("N");
  moved.reset();
  EXPECT_FALSE(moved.active());
  center->post("N");
  EXPECT_EQ(calls, (Calls{"scoped", "moved", "replacement"}));
}

}  // namespace
