#include "ZAR_DAWControl/platform/sim/SimDispatch.h"

#include <gtest/gtest.h>

#include <future>

#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"

namespace {

using zar::sim::SimDispatch;

TEST(SimDispatch, InlineRunsOnTheCallerThreadedOnItsPoolManualOnRunPending) {
  const auto loop = std::make_shared<zar::native::MainRunLoop>(std::make_shared<zar::sim::VirtualClock>());
  EXPECT_THROW(SimDispatch(nullptr, SimDispatch::Mode::inlineOnCaller), std::invalid_argument);
  std::vector<int> order;
  SimDispatch(loop, SimDispatch::Mode::inlineOnCaller).async([&] { order.push_back(0); });
  EXPECT_EQ(order, std::vector<int>{0});

  std::promise<std::thread::id> ranOnPool;
  SimDispatch(loop, SimDispatch::Mode::threaded, 2).async([&] { ranOnPool.set_value(std::this_thread::get_id()); });
  auto ran = ranOnPool.get_future();  // the pool runs what is queued before it goes
  ASSERT_EQ(ran.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_NE(ran.get(), std::this_thread::get_id());

  auto token = std::make_shared<int>(0);
  {
    SimDispatch dispatch(loop, SimDispatch::Mode::manual);
    dispatch.async([&] { order.push_back(1); });
    dispatch.async(nullptr);
    dispatch.async([&] {
      order.push_back(2);
      dispatch.async([&] { order.push_back(3); });
    });
    EXPECT_EQ(dispatch.pendingCount(), 2u);
    EXPECT_EQ(dispatch.runPending(), 2u);
    EXPECT_EQ(dispatch.pendingCount(), 1u) << "work queued by pending work waits for the next call";
    EXPECT_EQ(dispatch.runPending(), 1u);
    dispatch.async([token, &order] { order.push_back(4); });
    // A piece handed to the main thread from elsewhere waits for the main loop.
    std::thread([&] { dispatch.onMainThread([&] { order.push_back(6); }); }).join();
    dispatch.onMainThread([&] { order.push_back(5); });
  }
  EXPECT_EQ(token.use_count(), 1) << "work never run is dropped at destruction";
  loop->runFor(0);
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 5, 6}));
}

}  // namespace
