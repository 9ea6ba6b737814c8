#include "ZAR_DAWControl/platform/default/DefaultPlatform.h"

#include <gtest/gtest.h>

#include <thread>

#include "ZAR_DAWControl/daw/ZAR_DAWApplication.h"
#include "ZAR_DAWControl/platform/linux/MainRunLoop.h"
#include "ZAR_DAWControl/platform/sim/VirtualClock.h"
#include "support/TemporaryDirectory.h"

namespace {

using zar::platform::Platform;

// A host that brings its own clock and main run loop gets every service wired to them: a warning
// raised on another thread is shown on that run loop, on the main thread, at the clock's time.
TEST(DefaultPlatform, ServicesFollowTheClockAndRunLoopGiven) {
  const zar::test::TemporaryDirectory directory;
  const auto clock = std::make_shared<zar::sim::VirtualClock>();
  const auto runLoop = std::make_shared<zar::native::MainRunLoop>(clock);
  zar::platform::DefaultPlatformOptions options;
  options.clock = clock;
  options.mainRunLoop = runLoop;
  options.preferencesInMemory = true;
  options.supportDirectory = directory.path();
  const auto built = zar::platform::buildDefaultPlatform(options);
  ASSERT_EQ(built.platform->alerts, built.desktop->alerts());
  const auto previous = Platform::installed();
  Platform::install(built.platform);

  std::thread hostThread([] { ZAR_DAWApplication::showNoRecTrackSelectedWarning(); });
  hostThread.join();
  EXPECT_TRUE(built.desktop->alerts()->shownAlerts().empty()) << "shown off the main thread";
  clock->advanceBy(42);
  runLoop->runFor(0);
  const auto shown = built.desktop->alerts()->shownAlerts();
  ASSERT_EQ(shown.size(), 1u);
  EXPECT_EQ(shown[0].request.messageText, "Can't start recording");
  EXPECT_TRUE(shown[0].onMainThread);
  EXPECT_EQ(shown[0].time, clock->now());
  Platform::install(previous);
}

}  // namespace
