#include "ZAR_DAWControl/daw/ZAR_DAWControlLoggingHelper.h"

#include <gtest/gtest.h>

#include "support/SimPlatform.h"

namespace {

constexpr const char* kKey = "ApplicationLogLevel";

TEST(LoggingHelperTest, AcceptedLevelsAreTakenAndLeftAloneOthersHoldForThisRunOnly) {
  zar::test::SimPlatform sim;
  const std::int32_t saved = ddLogLevel;
  const auto read = [] {
    ZAR_DAWControlLoggingHelper().readLogLevelFromPlistFile();
    return ddLogLevel.load();
  };
  EXPECT_EQ(read(), 0) << "absent before the default is registered: off";
  ZAR_DAWControlLoggingHelper::registerUserDefaults();
  EXPECT_EQ(read(), 3) << "the registered default is warning";
  for (const std::int64_t level : {-1, 0, 1, 3, 15, 31}) {
    sim.userDefaults->setInteger(level, kKey);
    EXPECT_EQ(read(), level);
    EXPECT_EQ(sim.userDefaults->objectForKey(kKey), zar::platform::PropertyValue(level)) << "nothing written back";
  }
  // Info and any other level hold for this run, and warning is stored for the next.
  for (const std::int64_t level : {7, 64}) {
    sim.userDefaults->setInteger(level, kKey);
    EXPECT_EQ(read(), level);
    EXPECT_EQ(sim.userDefaults->integerForKey(kKey), 3);
  }
  sim.userDefaults->setString("15", kKey);
  EXPECT_EQ(read(), 15) << "a text holding a level is read as the level";
  ddLogLevel = saved;
}

}  // namespace
