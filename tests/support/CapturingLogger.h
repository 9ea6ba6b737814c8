#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/Logger.h"

namespace zar::test {

/// A logger that keeps every statement, for tests to read.
class CapturingLogger final : public platform::Logger {
 public:
  struct Statement {
    platform::LogFlag flag;
    std::string message;
  };

  void log(platform::LogFlag flag, const char* file, const char* function, int line, std::string message) override;
  void flush() override {}

  std::vector<Statement> statements() const;
  /// The messages in order; only those of `flag` when one is given.
  std::vector<std::string> messages(std::optional<platform::LogFlag> flag = std::nullopt) const;
  void clear();

 private:
  mutable std::mutex _mutex;
  std::vector<Statement> _statements;
};

}  // namespace zar::test
