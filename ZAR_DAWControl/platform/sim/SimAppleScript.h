#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/AppleScript.h"
#include "ZAR_DAWControl/platform/Clock.h"
#include "ZAR_DAWControl/platform/EventPoster.h"
#include "ZAR_DAWControl/platform/sim/SimWorkspace.h"

namespace zar::sim {

/// Runs the one script the framework has the system run: the typing script that keys in the
/// text of its `sourceString` property, character by character, into the frontmost application
/// and then presses key code 36. The keys go through the event poster, so they are logged and
/// delivered like any other keyboard event. Any other script doesn't compile.
class SimAppleScript final : public platform::AppleScript {
 public:
  /// The error number of a script that doesn't compile.
  static constexpr int syntaxErrorNumber = -2741;

  struct Execution {
    std::string source;
    std::optional<platform::AppleScriptError> error;
  };

  SimAppleScript(std::shared_ptr<platform::Clock> clock, std::shared_ptr<SimWorkspace> workspace,
                 std::shared_ptr<platform::EventPoster> eventPoster);

  std::optional<platform::AppleScriptError> execute(const std::string& source) override;

  /// Every script executed, in order, with its outcome.
  std::vector<Execution> executions() const;

 private:
  void typeKey(platform::KeyboardEvent event);

  const std::shared_ptr<platform::Clock> _clock;
  const std::shared_ptr<SimWorkspace> _workspace;
  const std::shared_ptr<platform::EventPoster> _eventPoster;
  mutable std::mutex _mutex;
  std::vector<Execution> _executions;
};

}  // namespace zar::sim
