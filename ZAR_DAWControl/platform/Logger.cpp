#include "ZAR_DAWControl/platform/Logger.h"

#include "ZAR_DAWControl/platform/Platform.h"

std::atomic<std::int32_t> ddLogLevel{3};

namespace zar::platform {

void logStatement(LogFlag flag, const char* file, const char* function, int line, std::string message) {
  const auto platform = Platform::current();
  if (platform->logger) {
    platform->logger->log(flag, file, function, line, std::move(message));
  }
}

}  // namespace zar::platform
