#include "ZAR_DAWControl/platform/sim/SimDispatch.h"

#include <gtest/gtest.h>

#include <future>

#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::sim::SimDispatch;
using Mode = SimDispatch::Mode;

class SimDispatchTest : public ::testing::Test {
 protected:
  std::shared_ptr<zar::native::MainRunLoop> loop =
      std::make_shared<zar::native::MainRunLoop>(std::make_shared<zar::sim::VirtualClock>());
};

TEST_F(SimDispatchTest, InlineRunsOnTheCallerThreadedOnAPoolOfItsOwn) {
  EXPECT_THROW(SimDispatch(nullptr, Mode::inlineOnCaller), std::invalid_argument);
  SimDispatch inlineDispatch(loop, Mode::inlineOnCaller);
  std::thread::id ranOn;
  inlineDispatch.async([&] { ranOn = std::this_thread::get_id(); });
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  EXPECT_EQ(inlineDispatch.runPending(), 0u);

  SimDispatch threaded(loop, Mode::threaded, 2);
  std::promise<std::thread::id> ranOnPool;
  threaded.async([&] { ranOnPool.set_value(std::this_thread::get_id()); });
  auto result = ranOnPool.get_future();
  ASSERT_EQ(result.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_NE(result.get(), std::this_thread::get_id());
  EXPECT_EQ(threaded.pendingCount(), 0u);
}

TEST_F(SimDispatchTest, ManualHoldsWorkUntilRunPendingAndDropsWhatNeverRan) {
  std::vector<int> order;
  auto token = std::make_shared<int>(0);
  {
    SimDispatch dispatch(loop, Mode::manual);
    dispatch.async([&] { order.push_back(1); });
    dispatch.async(nullptr);
    dispatch.async([&] {
      order.push_back(2);
      dispatch.async([&] { order.push_back(3); });
    });
    EXPECT_TRUE(order.empty());
    EXPECT_EQ(dispatch.pendingCount(), 2u);
    EXPECT_EQ(dispatch.runPending(), 2u);
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_EQ(dispatch.pendingCount(), 1u) << "work queued by pending work waits for the next call";
    EXPECT_EQ(dispatch.runPending(), 1u);
    dispatch.async([token, &order] { order.push_back(4); });
  }
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(token.use_count(), 1);
}

TEST_F(SimDispatchTest, OnMainThreadIsInlineOnMainAndQueuedElsewhere) {
  SimDispatch dispatch(loop, Mode::manual);
  int ran = 0;
  dispatch.onMainThread([&] { ++ran; });
  EXPECT_EQ(ran, 1);
  std::thread([&] { dispatch.onMainThread([&] { ran += 10; }); }).join();
  EXPECT_EQ(ran, 1);
  loop->runFor(0);
  EXPECT_EQ(ran, 11);
}

}  // namespace
