#include "support/CapturingLogger.h"

namespace zar::test {

void CapturingLogger::log(platform::LogFlag flag, const char*, const char*, int, std::string message) {
  std::lock_guard lock(_mutex);
  _statements.push_back(Statement{flag, std::move(message)});
}

std::vector<CapturingLogger::Statement> CapturingLogger::statements() const {
  std::lock_guard lock(_mutex);
  return _statements;
}

std::vector<std::string> CapturingLogger::messages(std::optional<platform::LogFlag> flag) const {
  std::lock_guard lock(_mutex);
  std::vector<std::string> messages;
  for (const auto& statement : _statements) {
    if (!flag || statement.flag == *flag) messages.push_back(statement.message);
  }
  return messages;
}

void CapturingLogger::clear() {
  std::lock_guard lock(_mutex);
  _statements.clear();
}

}  // namespace zar::test
