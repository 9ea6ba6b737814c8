#pragma once

#include <atomic>
#include <cstdint>
#include <string>

/// The process-wide log level: a set of the flags below. 3 (error and warning) when loaded.
/// Read by every log statement without a lock; written by the host or the logging helper.
extern std::atomic<std::int32_t> ddLogLevel;

namespace zar::platform {

enum class LogFlag : std::int32_t { error = 1, warning = 2, info = 4, debug = 8, verbose = 16 };

/// Named levels: sets of flags.
enum LogLevel : std::int32_t {
  LogLevelOff = 0,
  LogLevelError = 1,
  LogLevelWarning = 3,
  LogLevelInfo = 7,
  LogLevelDebug = 15,
  LogLevelVerbose = 31,
  LogLevelAll = -1,
};

/// Where log statements go. Error statements are written before `log` returns; the others may be
/// written later, in order, by another thread.
class Logger {
 public:
  virtual ~Logger() = default;
  virtual void log(LogFlag flag, const char* file, const char* function, int line, std::string message) = 0;
  /// Waits until every statement logged so far is written.
  virtual void flush() = 0;
};

inline bool logFlagEnabled(LogFlag flag) {
  return (ddLogLevel.load(std::memory_order_relaxed) & static_cast<std::int32_t>(flag)) != 0;
}

/// Hands a statement to the installed platform's logger.
void logStatement(LogFlag flag, const char* file, const char* function, int line, std::string message);

}  // namespace zar::platform
