#include <gtest/gtest.h>

#include <string>

#include "support/CrashReport.h"

namespace zar::test {

namespace {

/// Tells the crash report which test runs: GoogleTest's own record of it can't be read safely
/// from a signal handler.
class CrashReportListener final : public testing::EmptyTestEventListener {
 public:
  void OnTestStart(const testing::TestInfo& test) override {
    CrashReport::setContext(std::string(test.test_suite_name()) + "." + test.name());
  }
  void OnTestEnd(const testing::TestInfo&) override { CrashReport::setContext({}); }
};

// Linked into every test program: the report covers it from before main.
[[maybe_unused]] const bool installed = [] {
  CrashReport::install();
  testing::UnitTest::GetInstance()->listeners().Append(new CrashReportListener);
  return true;
}();

}  // namespace

}  // namespace zar::test
