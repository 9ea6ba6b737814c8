#pragma once

#include <optional>
#include <string>

namespace zar::platform {

struct AppleScriptError {
  int number = 0;
  std::string message;
};

/// Compiles and runs a script on the calling thread; returns when it has finished.
class AppleScript {
 public:
  virtual ~AppleScript() = default;
  /// Nothing on success; the error when the script can't be compiled (then nothing runs) or fails.
  virtual std::optional<AppleScriptError> execute(const std::string& source) = 0;
};

}  // namespace zar::platform
