#include "ZAR_DAWControl/daw/ZAR_DAWControlLoggingHelper.h"

#include <algorithm>
#include <array>

#include "ZAR_DAWControl/platform/Platform.h"

void ZAR_DAWControlLoggingHelper::registerUserDefaults() {
  zar::platform::Platform::current()->userDefaults->registerDefaults({{logLevelKey, 3}});
}

void ZAR_DAWControlLoggingHelper::readLogLevelFromPlistFile() {
  const auto& defaults = zar::platform::Platform::current()->userDefaults;
  const auto stored = defaults->objectForKey(logLevelKey);
  const auto level = static_cast<std::int32_t>(stored ? stored->integerValue() : 0);
  ddLogLevel.store(level, std::memory_order_relaxed);

  // Info (7) is not among the levels a user may choose.
  constexpr std::array<std::int32_t, 6> accepted{-1, 0, 1, 3, 15, 31};
  if (std::find(accepted.begin(), accepted.end(), level) == accepted.end()) {
    defaults->setInteger(3, logLevelKey);
  }
}
