#include "ZAR_DAWControl/platform/linux/ThreadPoolDispatch.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>

#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "support/Rendezvous.h"

namespace {

using zar::native::ThreadPoolDispatch;

constexpr auto generous = std::chrono::seconds(10);

class ThreadPoolDispatchTest : public ::testing::Test {
 protected:
  std::shared_ptr<zar::native::MainRunLoop> loop =
      std::make_shared<zar::native::MainRunLoop>(std::make_shared<zar::sim::VirtualClock>());
};

TEST_F(ThreadPoolDispatchTest, PoolSizeDefaultsToAtLeastFourThreads) {
  EXPECT_GE(ThreadPoolDispatch(loop).threadCount(), std::max(4u, std::thread::hardware_concurrency()));
  EXPECT_EQ(ThreadPoolDispatch(loop, 2).threadCount(), 2u);
  EXPECT_THROW(ThreadPoolDispatch(nullptr), std::invalid_argument);
}

TEST_F(ThreadPoolDispatchTest, AsyncWorkRunsConcurrentlyOffTheCallingThread) {
  ThreadPoolDispatch dispatch(loop, 2);
  zar::test::Rendezvous rendezvous(2);
  std::promise<bool> results[2];
  const auto caller = std::this_thread::get_id();
  for (auto& result : results) {
    dispatch.async([&] { result.set_value(rendezvous.arriveAndWait() && std::this_thread::get_id() != caller); });
  }
  for (auto& result : results) {
    auto done = result.get_future();
    ASSERT_EQ(done.wait_for(generous), std::future_status::ready);
    EXPECT_TRUE(done.get()) << "both pieces met on two pool threads";
  }
}

TEST_F(ThreadPoolDispatchTest, ThrowingWorkDoesNotStopThePoolAndDestructionRunsWhatIsQueued) {
  std::atomic<int> ran{0};
  std::promise<void> gate;
  {
    ThreadPoolDispatch dispatch(loop, 1);
    dispatch.async([opened = gate.get_future().share()] { opened.wait_for(generous); });
    dispatch.async(nullptr);
    dispatch.async([] { throw std::runtime_error("broken work"); });
    dispatch.async([] { throw 42; });
    for (int i = 0; i < 20; ++i) {
      dispatch.async([&ran, &dispatch] {
        ++ran;
        dispatch.async([&ran] { ++ran; });  // queued while the pool drains: still runs
      });
    }
    gate.set_value();
  }
  EXPECT_EQ(ran.load(), 40);
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
