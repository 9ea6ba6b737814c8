#include <gtest/gtest.h>

#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/ostream_sink.h>

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/SpdLogger.h"

namespace {

using zar::native::SpdLogger;
using zar::platform::LogFlag;
using zar::platform::Platform;

/// Keeps what reaches it, and on which thread; may take its time per statement.
class RecordingSink final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  struct Record {
    spdlog::level::level_enum level;
    std::string text;
    std::string file;
    std::string function;
    int line;
    std::thread::id thread;
    std::string formatted;
  };

  explicit RecordingSink(std::chrono::microseconds delay = {}) : _delay(delay) {}

  std::vector<Record> records() {
    const std::lock_guard lock(mutex_);
    return _records;
  }
  std::vector<std::string> texts() {
    std::vector<std::string> result;
    for (const auto& record : records()) result.push_back(record.text);
    return result;
  }

 protected:
  void sink_it_(const spdlog::details::log_msg& msg) override {
    if (_delay.count() > 0) std::this_thread::sleep_for(_delay);
    spdlog::memory_buf_t formatted;
    formatter_->format(msg, formatted);
    _records.push_back({msg.level, std::string(msg.payload.data(), msg.payload.size()),
                        msg.source.filename != nullptr ? msg.source.filename : "",
                        msg.source.funcname != nullptr ? msg.source.funcname : "", msg.source.line,
                        std::this_thread::get_id(), fmt::to_string(formatted)});
  }
  void flush_() override {}

 private:
  std::chrono::microseconds _delay;
  std::vector<Record> _records;
};

/// Installs a platform whose logger writes to a recording sink, and puts back what was there.
class SpdLoggerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    _previous = Platform::installed();
    auto platform = std::make_shared<Platform>();
    platform->logger = logger;
    Platform::install(platform);
  }
  void TearDown() override {
    logger->flush();
    Platform::install(_previous);
    ddLogLevel = _savedLevel;
  }

  std::shared_ptr<RecordingSink> sink = std::make_shared<RecordingSink>();
  std::shared_ptr<SpdLogger> logger = std::make_shared<SpdLogger>(std::vector<spdlog::sink_ptr>{sink});

 private:
  std::shared_ptr<const Platform> _previous;
  std::int32_t _savedLevel = ddLogLevel;
};

TEST_F(SpdLoggerTest, EachFlagIsEmittedOnlyWhenSetInTheLogLevel) {
  const std::vector<std::int32_t> levels{0, 1, 3, 7, 15, 31, -1, 8, 16};
  for (const std::int32_t level : levels) {
    ddLogLevel = level;
    ZAR_LOG_ERROR("{} error", level);
    ZAR_LOG_WARN("{} warning", level);
    ZAR_LOG_INFO("{} info", level);
    ZAR_LOG_DEBUG("{} debug", level);
    ZAR_LOG_VERBOSE("{} verbose", level);
  }
  logger->flush();

  std::map<std::int32_t, std::vector<std::string>> seen;
  for (const auto& text : sink->texts()) {
    const auto blank = text.find(' ');
    seen[std::stoi(text.substr(0, blank))].push_back(text.substr(blank + 1));
  }
  using Names = std::vector<std::string>;
  EXPECT_EQ(seen.count(0), 0u);
  EXPECT_EQ(seen[1], (Names{"error"}));
  EXPECT_EQ(seen[3], (Names{"error", "warning"}));
  EXPECT_EQ(seen[7], (Names{"error", "warning", "info"}));
  EXPECT_EQ(seen[15], (Names{"error", "warning", "info", "debug"}));
  EXPECT_EQ(seen[31], (Names{"error", "warning", "info", "debug", "verbose"}));
  EXPECT_EQ(seen[-1], (Names{"error", "warning", "info", "debug", "verbose"}));
  EXPECT_EQ(seen[8], (Names{"debug"}));
  EXPECT_EQ(seen[16], (Names{"verbose"}));
}

TEST_F(SpdLoggerTest, StatementsCarryFileFunctionAndLineIntoThePattern) {
  ddLogLevel = zar::platform::LogLevelAll;
  const int line = __LINE__ + 1;
  ZAR_LOG_DEBUG("value {}", 5);
  logger->flush();
  const auto records = sink->records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].text, "value 5");
  EXPECT_EQ(records[0].line, line);
  EXPECT_NE(records[0].file.find("SpdLoggerTest.cpp"), std::string::npos) << records[0].file;
  EXPECT_EQ(records[0].function, "TestBody");
  const std::string location = "SpdLoggerTest.cpp:" + std::to_string(line) + " TestBody";
  EXPECT_NE(records[0].formatted.find(location), std::string::npos) << records[0].formatted;
  EXPECT_NE(records[0].formatted.find("[debug] value 5"), std::string::npos) << records[0].formatted;
}

TEST_F(SpdLoggerTest, ErrorsAreWrittenOnTheCallingThreadAndTheRestOnAnother) {
  ddLogLevel = zar::platform::LogLevelAll;
  ZAR_LOG_ERROR("now");
  const auto beforeFlush = sink->records();
  ASSERT_EQ(beforeFlush.size(), 1u) << "an error is written before the statement returns";
  EXPECT_EQ(beforeFlush[0].thread, std::this_thread::get_id());

  ZAR_LOG_INFO("later");
  logger->flush();
  const auto records = sink->records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_NE(records[1].thread, std::this_thread::get_id());
}

TEST(SpdLogger, ErrorComesAfterEverythingLoggedBeforeIt) {
  auto slow = std::make_shared<RecordingSink>(std::chrono::microseconds(500));
  SpdLogger logger({slow});
  for (int i = 0; i < 20; ++i) logger.log(LogFlag::info, __FILE__, __func__, __LINE__, std::to_string(i));
  logger.log(LogFlag::error, __FILE__, __func__, __LINE__, "error");
  const auto texts = slow->texts();
  ASSERT_EQ(texts.size(), 21u);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(texts[static_cast<std::size_t>(i)], std::to_string(i));
  EXPECT_EQ(texts.back(), "error");
}

TEST(SpdLogger, FlushWaitsUntilEverythingIsWritten) {
  auto slow = std::make_shared<RecordingSink>(std::chrono::microseconds(200));
  SpdLogger logger({slow});
  for (int i = 0; i < 100; ++i) logger.log(LogFlag::debug, __FILE__, __func__, __LINE__, std::to_string(i));
  logger.flush();
  EXPECT_EQ(slow->records().size(), 100u);
}

TEST(SpdLogger, NothingIsLostWhenManyThreadsLog) {
  auto sink = std::make_shared<RecordingSink>();
  auto logger = std::make_shared<SpdLogger>(std::vector<spdlog::sink_ptr>{sink});
  constexpr int threads = 4;
  constexpr int statements = 3000;
  std::vector<std::thread> workers;
  for (int t = 0; t < threads; ++t) {
    workers.emplace_back([&, t] {
      for (int i = 0; i < statements; ++i) {
        const auto flag = i % 500 == 0 ? LogFlag::error : LogFlag::info;
        logger->log(flag, __FILE__, __func__, __LINE__, fmt::format("{} {}", t, i));
      }
      logger->flush();
    });
  }
  for (auto& worker : workers) worker.join();
  logger->flush();

  std::vector<int> next(threads, 0);
  std::size_t count = 0;
  for (const auto& text : sink->texts()) {
    const int t = std::stoi(text.substr(0, text.find(' ')));
    const int i = std::stoi(text.substr(text.find(' ') + 1));
    EXPECT_EQ(i, next[static_cast<std::size_t>(t)]) << "statements of one thread stay in order";
    next[static_cast<std::size_t>(t)] = i + 1;
    ++count;
  }
  EXPECT_EQ(count, static_cast<std::size_t>(threads * statements));
}

TEST(SpdLogger, DestructionWritesWhatIsPendingAndNullLocationsAreEmpty) {
  std::ostringstream out;
  {
    SpdLogger logger({std::make_shared<spdlog::sinks::ostream_sink_mt>(out)});
    logger.log(LogFlag::warning, nullptr, nullptr, 12, "no location");
    logger.log(LogFlag::info, "file.cpp", "function", 3, "braces {} stay");
  }
  const std::string text = out.str();
  EXPECT_NE(text.find("[warning] no location (:12 )"), std::string::npos) << text;
  EXPECT_NE(text.find("[info] braces {} stay (file.cpp:3 function)"), std::string::npos) << text;
}

TEST(SpdLogger, DefaultWritesToStandardError) {
  ::testing::internal::CaptureStderr();
  {
    const auto logger = SpdLogger::makeDefault();
    logger->log(LogFlag::error, "Default.cpp", "run", 7, "to stderr");
  }
  const std::string text = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(text.find("to stderr"), std::string::npos) << text;
  EXPECT_NE(text.find("Default.cpp:7 run"), std::string::npos) << text;
}

}  // namespace
