#include "ZAR_DAWControl/daw/ZAR_DAWControlLoggingHelper.h"

#include <gtest/gtest.h>

#include "support/SimPlatform.h"

namespace {

constexpr const char* kKey = "ApplicationLogLevel";

class LoggingHelperTest : public testing::Test {
 protected:
  void TearDown() override { ddLogLevel = _saved; }
  std::int32_t read() {
    ZAR_DAWControlLoggingHelper().readLogLevelFromPlistFile();
    return ddLogLevel.load();
  }
  zar::test::SimPlatform _sim;
  std::int32_t _saved = ddLogLevel.load();
};

TEST_F(LoggingHelperTest, AcceptedLevelsAreTakenAndLeftAloneOthersHoldForThisRunOnly) {
  EXPECT_EQ(read(), 0) << "absent before the default is registered: off";
  ZAR_DAWControlLoggingHelper::registerUserDefaults();
  EXPECT_EQ(read(), 3) << "the registered default is warning";
  for (const std::int64_t level : {-1, 0, 1, 3, 15, 31}) {
    _sim.userDefaults->setInteger(level, kKey);
    EXPECT_EQ(read(), level);
    EXPECT_EQ(_sim.userDefaults->objectForKey(kKey), zar::platform::PropertyValue(level)) << "nothing written back";
  }
  // Info and any other level hold for this run, and warning is stored for the next.
  for (const std::int64_t level : {7, 64}) {
    _sim.userDefaults->setInteger(level, kKey);
    EXPECT_EQ(read(), level);
    EXPECT_EQ(_sim.userDefaults->integerForKey(kKey), 3);
  }
  _sim.userDefaults->setString("15", kKey);
  EXPECT_EQ(read(), 15) << "a text holding a level is read as the level";
}

}  // namespace
