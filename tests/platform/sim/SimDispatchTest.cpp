#include "ZAR_DAWControl/platform/sim/SimDispatch.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::native::MainRunLoop;
using zar::sim::SimDispatch;
using Mode = SimDispatch::Mode;

class SimDispatchTest : public ::testing::Test {
 protected:
  std::shared_ptr<MainRunLoop> loop = std::make_shared<MainRunLoop>(std::make_shared<zar::sim::VirtualClock>());
};

TEST_F(SimDispatchTest, InlineModeRunsWorkAtOnceOnTheCaller) {
  SimDispatch dispatch(loop, Mode::inlineOnCaller);
  std::thread::id ranOn;
  dispatch.async([&] { ranOn = std::this_thread::get_id(); });
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  EXPECT_EQ(dispatch.pendingCount(), 0u);
  EXPECT_EQ(dispatch.runPending(), 0u);
}

TEST_F(SimDispatchTest, ManualModeHoldsWorkUntilRunPending) {
  SimDispatch dispatch(loop, Mode::manual);
  std::vector<int> order;
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
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(dispatch.runPending(), 0u);
}

TEST_F(SimDispatchTest, ManualModeDropsUnrunWorkAtDestruction) {
  auto token = std::make_shared<int>(0);
  bool ran = false;
  {
    SimDispatch dispatch(loop, Mode::manual);
    dispatch.async([token, &ran] { ran = true; });
  }
  EXPECT_FALSE(ran);
  EXPECT_EQ(token.use_count(), 1);
}

TEST_F(SimDispatchTest, ThreadedModeHandsWorkToItsPool) {
  SimDispatch dispatch(loop, Mode::threaded, 2);
  std::promise<std::thread::id> ranOn;
  dispatch.async([&] { ranOn.set_value(std::this_thread::get_id()); });
  auto result = ranOn.get_future();
  ASSERT_EQ(result.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_NE(result.get(), std::this_thread::get_id());
  EXPECT_EQ(dispatch.runPending(), 0u);
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

TEST_F(SimDispatchTest, NeedsARunLoop) { EXPECT_THROW(SimDispatch(nullptr, Mode::inlineOnCaller), std::invalid_argument); }

}  // namespace
