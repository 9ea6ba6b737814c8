#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <spdlog/common.h>

#include "ZAR_DAWControl/platform/Logger.h"

namespace spdlog {
class async_logger;
class logger;
namespace details {
class thread_pool;
}  // namespace details
}  // namespace spdlog

namespace zar::native {

/// Log output through spdlog. Error statements are written (and flushed) before `log` returns,
/// after everything logged earlier; the others are written in order by a thread of this logger's
/// own. Every statement carries its source file, function and line.
class SpdLogger final : public platform::Logger {
 public:
  /// The pattern given to every sink: time, level, text, then file, line and function.
  static constexpr const char* pattern = "%Y-%m-%d %H:%M:%S.%e [%l] %v (%s:%# %!)";

  /// The sinks must be thread-safe (spdlog's `_mt` sinks): errors reach them from the logging
  /// thread while the others arrive from the writer thread.
  explicit SpdLogger(std::vector<spdlog::sink_ptr> sinks);
  ~SpdLogger() override;
  SpdLogger(const SpdLogger&) = delete;
  SpdLogger& operator=(const SpdLogger&) = delete;

  /// A logger writing to standard error, in colour on a terminal.
  static std::shared_ptr<SpdLogger> makeDefault();

  /// `file` and `function` must live as long as the process (as `__FILE__` and `__func__` do);
  /// null ones are logged as empty.
  void log(platform::LogFlag flag, const char* file, const char* function, int line, std::string message) override;
  void flush() override;

 private:
  class FlushMarker;

  std::shared_ptr<FlushMarker> _marker;
  std::shared_ptr<spdlog::details::thread_pool> _pool;
  std::shared_ptr<spdlog::async_logger> _asynchronous;
  std::shared_ptr<spdlog::logger> _synchronous;
  /// Keeps flush requests in the queue in the order of their numbers.
  std::mutex _flushMutex;
  std::uint64_t _flushesRequested = 0;
};

}  // namespace zar::native
