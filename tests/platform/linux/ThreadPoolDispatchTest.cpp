#include "ZAR_DAWControl/platform/linux/ThreadPoolDispatch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>

#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "support/Rendezvous.h"

namespace {

using zar::native::MainRunLoop;
using zar::native::ThreadPoolDispatch;

constexpr auto generous = std::chrono::seconds(10);

class ThreadPoolDispatchTest : public ::testing::Test {
 protected:
  std::shared_ptr<MainRunLoop> loop = std::make_shared<MainRunLoop>(std::make_shared<zar::sim::VirtualClock>());
};

TEST_F(ThreadPoolDispatchTest, PoolSizeDefaultsToAtLeastFourThreads) {
  EXPECT_GE(ThreadPoolDispatch(loop).threadCount(), 4u);
  EXPECT_GE(ThreadPoolDispatch(loop).threadCount(), std::thread::hardware_concurrency());
  EXPECT_EQ(ThreadPoolDispatch(loop, 2).threadCount(), 2u);
  EXPECT_THROW(ThreadPoolDispatch(nullptr), std::invalid_argument);
}

TEST_F(ThreadPoolDispatchTest, AsyncWorkRunsConcurrentlyOffTheCallingThread) {
  ThreadPoolDispatch dispatch(loop, 2);
  zar::test::Rendezvous rendezvous(2);
  std::promise<bool> first;
  std::promise<bool> second;
  const auto caller = std::this_thread::get_id();
  dispatch.async([&] { first.set_value(rendezvous.arriveAndWait() && std::this_thread::get_id() != caller); });
  dispatch.async([&] { second.set_value(rendezvous.arriveAndWait() && std::this_thread::get_id() != caller); });
  auto firstDone = first.get_future();
  auto secondDone = second.get_future();
  ASSERT_EQ(firstDone.wait_for(generous), std::future_status::ready);
  ASSERT_EQ(secondDone.wait_for(generous), std::future_status::ready);
  EXPECT_TRUE(firstDone.get());
  EXPECT_TRUE(secondDone.get());
}

TEST_F(ThreadPoolDispatchTest, DestructionRunsTheQueuedWorkThenJoins) {
  std::atomic<int> ran{0};
  std::promise<void> gate;
  std::shared_future<void> opened = gate.get_future().share();
  {
    ThreadPoolDispatch dispatch(loop, 1);
    dispatch.async([opened] { opened.wait_for(generous); });
    for (int i = 0; i < 50; ++i) {
      dispatch.async([&ran, &dispatch] {
        ++ran;
        dispatch.async([&ran] { ++ran; });  // queued while the pool drains: still runs
      });
    }
    gate.set_value();
  }
  EXPECT_EQ(ran.load(), 100);
}

TEST_F(ThreadPoolDispatchTest, ThrowingWorkDoesNotStopThePool) {
  ThreadPoolDispatch dispatch(loop, 1);
  std::promise<void> after;
  dispatch.async(nullptr);
  dispatch.async([] { throw std::runtime_error("broken work"); });
  dispatch.async([] { throw 42; });
  dispatch.async([&] { after.set_value(); });
  EXPECT_EQ(after.get_future().wait_for(generous), std::future_status::ready);
}

TEST_F(ThreadPoolDispatchTest, OnMainThreadIsInlineOnMainAndQueuedWithoutWaitingElsewhere) {
  ThreadPoolDispatch dispatch(loop, 1);
  bool ranInline = false;
  dispatch.onMainThread([&] { ranInline = true; });
  EXPECT_TRUE(ranInline);

  std::atomic<bool> ranOnMain{false};
  std::promise<void> returned;
  // The main thread is not running its loop: a waiting call would never return.
  dispatch.async([&] {
    dispatch.onMainThread([&] { ranOnMain = loop->isMainThread(); });
    returned.set_value();
  });
  ASSERT_EQ(returned.get_future().wait_for(generous), std::future_status::ready);
  EXPECT_FALSE(ranOnMain.load());
  loop->runFor(0);
  EXPECT_TRUE(ranOnMain.load());
}

}  // namespace
