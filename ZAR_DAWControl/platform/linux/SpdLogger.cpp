#include "ZAR_DAWControl/platform/linux/SpdLogger.h"

#include <condition_variable>

#include <spdlog/async_logger.h>
#include <spdlog/details/thread_pool.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>

namespace zar::native {

namespace {

constexpr std::size_t queueCapacity = 8192;

spdlog::level::level_enum levelOf(platform::LogFlag flag) {
  switch (flag) {
    case platform::LogFlag::error: return spdlog::level::err;
    case platform::LogFlag::warning: return spdlog::level::warn;
    case platform::LogFlag::info: return spdlog::level::info;
    case platform::LogFlag::debug: return spdlog::level::debug;
    case platform::LogFlag::verbose: return spdlog::level::trace;
  }
  // A value outside the flags still gets written rather than lost.
  return spdlog::level::info;
}

}  // namespace

/// The last sink of the asynchronous logger. The writer thread flushes the sinks in order, so when
/// this one is flushed every statement queued before that flush request has been written.
class SpdLogger::FlushMarker final : public spdlog::sinks::sink {
 public:
  void log(const spdlog::details::log_msg&) override {}
  void flush() override {
    {
      const std::lock_guard lock(_mutex);
      ++_flushed;
    }
    _changed.notify_all();
  }
  void set_pattern(const std::string&) override {}
  void set_formatter(std::unique_ptr<spdlog::formatter>) override {}

  void waitFor(std::uint64_t count) {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [&] { return _flushed >= count; });
  }

 private:
  std::mutex _mutex;
  std::condition_variable _changed;
  std::uint64_t _flushed = 0;
};

SpdLogger::SpdLogger(std::vector<spdlog::sink_ptr> sinks)
    : _marker(std::make_shared<FlushMarker>()),
      _pool(std::make_shared<spdlog::details::thread_pool>(queueCapacity, 1)) {
  std::erase(sinks, nullptr);
  _synchronous = std::make_shared<spdlog::logger>("ZAR_DAWControl", sinks.begin(), sinks.end());
  sinks.push_back(_marker);
  _asynchronous = std::make_shared<spdlog::async_logger>("ZAR_DAWControl", sinks.begin(), sinks.end(), _pool,
                                                         spdlog::async_overflow_policy::block);
  for (auto* logger : {static_cast<spdlog::logger*>(_asynchronous.get()), _synchronous.get()}) {
    // Which statements appear is decided by ddLogLevel before they get here.
    logger->set_level(spdlog::level::trace);
    logger->flush_on(spdlog::level::off);
  }
  _asynchronous->set_pattern(pattern);
}

SpdLogger::~SpdLogger() {
  // Ending the pool writes what is queued and joins the writer thread, so the queued statements'
  // references to the logger are gone before the logger itself is released here.
  _pool.reset();
}

std::shared_ptr<SpdLogger> SpdLogger::makeDefault() {
  return std::make_shared<SpdLogger>(
      std::vector<spdlog::sink_ptr>{std::make_shared<spdlog::sinks::stderr_color_sink_mt>()});
}

void SpdLogger::log(platform::LogFlag flag, const char* file, const char* function, int line, std::string message) {
  const spdlog::source_loc where(file != nullptr ? file : "", line, function != nullptr ? function : "");
  const auto level = levelOf(flag);
  if (flag == platform::LogFlag::error) {
    flush();
    _synchronous->log(where, level, message);
    _synchronous->flush();
  } else {
    _asynchronous->log(where, level, message);
  }
}

void SpdLogger::flush() {
  std::uint64_t ticket = 0;
  {
    const std::lock_guard lock(_flushMutex);
    ticket = ++_flushesRequested;
    _asynchronous->flush();
  }
  _marker->waitFor(ticket);
}

}  // namespace zar::native
