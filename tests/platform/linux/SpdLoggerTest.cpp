#include "ZAR_DAWControl/platform/linux/SpdLogger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/ostream_sink.h>

#include <sstream>

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/Platform.h"

namespace {

using zar::native::SpdLogger;
using zar::platform::LogFlag;
using zar::platform::Platform;
using testing::AllOf;
using testing::HasSubstr;

/// Keeps the text of what reaches it, formatted by the logger's pattern, and the writing thread;
/// may take its time per statement, so that a writer that doesn't wait for it shows.
class RecordingSink final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  struct Record {
    std::string text;
    std::string formatted;
    std::thread::id thread;
  };
  explicit RecordingSink(std::chrono::microseconds delay = {}) : _delay(delay) {}
  std::vector<Record> records() {
    const std::lock_guard lock(mutex_);
    return _records;
  }

 protected:
  void sink_it_(const spdlog::details::log_msg& msg) override {
    std::this_thread::sleep_for(_delay);
    spdlog::memory_buf_t formatted;
    formatter_->format(msg, formatted);
    _records.push_back({std::string(msg.payload.data(), msg.payload.size()), fmt::to_string(formatted),
                        std::this_thread::get_id()});
  }
  void flush_() override {}

 private:
  std::chrono::microseconds _delay;
  std::vector<Record> _records;
};

class SpdLoggerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto platform = std::make_shared<Platform>();
    platform->logger = logger;
    Platform::install(platform);
  }
  void TearDown() override {
    Platform::install(_previous);
    ddLogLevel = _savedLevel;
  }

  std::shared_ptr<RecordingSink> sink = std::make_shared<RecordingSink>();
  std::shared_ptr<SpdLogger> logger = std::make_shared<SpdLogger>(std::vector<spdlog::sink_ptr>{sink});

 private:
  std::shared_ptr<const Platform> _previous = Platform::installed();
  std::int32_t _savedLevel = ddLogLevel;
};

TEST_F(SpdLoggerTest, EachFlagIsEmittedOnlyWhenSetInTheLogLevel) {
  // Error, warning, info, debug and verbose, by the first letter of spdlog's level.
  const std::map<std::int32_t, std::string> emitted{{0, ""},       {1, "E"},       {3, "EW"},  {7, "EWI"}, {15, "EWID"},
                                                    {31, "EWIDT"}, {-1, "EWIDT"}, {8, "D"}, {16, "T"}};
  for (const auto& [level, letters] : emitted) {
    ddLogLevel = level;
    ZAR_LOG_ERROR("{}", level);
    ZAR_LOG_WARN("{}", level);
    ZAR_LOG_INFO("{}", level);
    ZAR_LOG_DEBUG("{}", level);
    ZAR_LOG_VERBOSE("{}", level);
  }
  logger->flush();
  std::map<std::int32_t, std::string> seen;
  for (const auto& record : sink->records()) {
    const auto level = record.formatted.substr(record.formatted.find('[') + 1, 1);
    seen[std::stoi(record.text)] += static_cast<char>(std::toupper(level[0]));
  }
  for (const auto& [level, letters] : emitted) EXPECT_EQ(seen[level], letters) << level;
}

TEST_F(SpdLoggerTest, ErrorsAreWrittenAtOnceAfterWhatCameBeforeTheRestOnTheWritersThread) {
  ddLogLevel = zar::platform::LogLevelAll;
  const int line = __LINE__ + 1;
  ZAR_LOG_DEBUG("value {}", 5);
  ZAR_LOG_ERROR("now");
  const auto records = sink->records();
  ASSERT_EQ(records.size(), 2u) << "an error is written before the statement returns, after the debug line";
  EXPECT_NE(records[0].thread, std::this_thread::get_id());
  EXPECT_EQ(records[1].thread, std::this_thread::get_id());
  EXPECT_THAT(records[0].formatted, AllOf(HasSubstr("[debug] value 5 ("),
                                          HasSubstr("SpdLoggerTest.cpp:" + std::to_string(line) + " TestBody)")));

  auto slow = std::make_shared<RecordingSink>(std::chrono::microseconds(200));
  SpdLogger slowLogger({slow});
  for (int i = 0; i < 20; ++i) slowLogger.log(LogFlag::info, __FILE__, __func__, __LINE__, std::to_string(i));
  slowLogger.log(LogFlag::error, __FILE__, __func__, __LINE__, "20");
  const auto written = slow->records();
  ASSERT_EQ(written.size(), 21u);
  for (std::size_t i = 0; i < written.size(); ++i) EXPECT_EQ(written[i].text, std::to_string(i)) << "in order";
  for (int i = 0; i < 50; ++i) slowLogger.log(LogFlag::debug, __FILE__, __func__, __LINE__, "more");
  slowLogger.flush();
  EXPECT_EQ(slow->records().size(), 71u) << "flush waits until everything is written";
}

TEST(SpdLogger, DestructionWritesWhatIsPendingAndTheDefaultGoesToStandardError) {
  std::ostringstream out;
  {
    SpdLogger logger({std::make_shared<spdlog::sinks::ostream_sink_mt>(out)});
    logger.log(LogFlag::warning, nullptr, nullptr, 12, "no location");
    logger.log(LogFlag::info, "file.cpp", "function", 3, "braces {} stay");
  }
  EXPECT_THAT(out.str(), AllOf(HasSubstr("[warning] no location (:12 )"),
                               HasSubstr("[info] braces {} stay (file.cpp:3 function)")));

  ::testing::internal::CaptureStderr();
  SpdLogger::makeDefault()->log(LogFlag::error, "Default.cpp", "run", 7, "to stderr");
  EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("to stderr (Default.cpp:7 run)"));
}

}  // namespace
