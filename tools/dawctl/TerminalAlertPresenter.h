#pragma once

#include <cstdio>
#include <memory>
#include <optional>

#include "ZAR_DAWControl/platform/Alerts.h"
#include "ZAR_DAWControl/platform/RunLoop.h"

namespace dawctl {

/// Shows the framework's alerts on the terminal: the message, the informative text, the buttons
/// and the suppression box. The answer comes from a preset (dawctl's --alert-answer) or from a
/// line of standard input ("" or "ok" for the default button, "s" to also check the box); while it
/// waits for the line the main run loop keeps running. End of input answers with the default.
class TerminalAlertPresenter {
 public:
  enum class Answer { ok, okSuppress };

  TerminalAlertPresenter(std::shared_ptr<zar::platform::RunLoop> runLoop, std::optional<Answer> preset,
                         std::FILE* input = stdin, std::FILE* output = stdout);

  zar::platform::AlertResponse operator()(const zar::platform::AlertRequest& request) const;

 private:
  std::optional<Answer> readAnswer() const;

  std::shared_ptr<zar::platform::RunLoop> _runLoop;
  std::optional<Answer> _preset;
  std::FILE* _input;
  std::FILE* _output;
};

}  // namespace dawctl
