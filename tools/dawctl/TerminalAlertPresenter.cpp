#include "TerminalAlertPresenter.h"

#include <fmt/format.h>
#include <poll.h>

#include <string>

namespace dawctl {

using zar::platform::AlertRequest;
using zar::platform::AlertResponse;

TerminalAlertPresenter::TerminalAlertPresenter(std::shared_ptr<zar::platform::RunLoop> runLoop,
                                               std::optional<Answer> preset, std::FILE* input, std::FILE* output)
    : _runLoop(std::move(runLoop)), _preset(preset), _input(input), _output(output) {}

AlertResponse TerminalAlertPresenter::operator()(const AlertRequest& request) const {
  fmt::print(_output, "\n+-- Alert: {}\n| {}\n", request.messageText, request.informativeText);
  std::string buttons = "[" + request.defaultButton + "]";
  if (request.alternateButton) buttons += " [" + *request.alternateButton + "]";
  if (request.otherButton) buttons += " [" + *request.otherButton + "]";
  fmt::print(_output, "| {}\n", buttons);
  if (request.showsSuppressionButton) {
    fmt::print(_output, "| [{}] {}\n", request.suppressionButtonChecked ? "x" : " ", request.suppressionButtonTitle);
  }
  std::optional<Answer> answer = _preset;
  if (answer) {
    fmt::print(_output, "+-- answered: {}\n", *answer == Answer::okSuppress ? "OK, box checked" : "OK");
  } else {
    fmt::print(_output, "+-- Return for {}{}: ", request.defaultButton,
               request.showsSuppressionButton ? ", s and Return to check the box too" : "");
    std::fflush(_output);
    answer = readAnswer();
  }
  std::fflush(_output);
  AlertResponse response;
  response.suppressionButtonChecked = request.showsSuppressionButton ? answer == Answer::okSuppress
                                                                     : request.suppressionButtonChecked;
  return response;
}

std::optional<TerminalAlertPresenter::Answer> TerminalAlertPresenter::readAnswer() const {
  // The main loop runs while the user thinks, as under a modal alert.
  pollfd descriptor{fileno(_input), POLLIN, 0};
  while (::poll(&descriptor, 1, 0) == 0) {
    if (_runLoop) {
      _runLoop->runFor(0.05);
    } else {
      ::poll(&descriptor, 1, -1);
    }
  }
  char line[256];
  if (std::fgets(line, sizeof line, _input) == nullptr) return std::nullopt;
  return (line[0] == 's' || line[0] == 'S') ? Answer::okSuppress : Answer::ok;
}

}  // namespace dawctl
