#include <fmt/format.h>

#include <cstdio>
#include <string>

#include "Commands.h"
#include "ZAR_DAWControl/platform/utility/ZAR_TCHelper.h"

namespace dawctl {

void addTimecodeCommand(CLI::App& app) {
  auto* command = app.add_subcommand("timecode", "Read a Pro Tools counter text as timecode");
  auto text = std::make_shared<std::string>();
  command->add_option("TEXT", *text, "Counter text, such as 01:00:00:00 or 00:59:58;02.40")->required();
  command->callback([text] {
    const TCTime tc = ZAR_TCHelper::tcTimeFromString(*text);
    if (tc.isInvalid != 0) {
      std::fputs("invalid: not a timecode counter text\n", stderr);
      throw CLI::RuntimeError(1);
    }
    fmt::print("hours={} minutes={} seconds={} frames={} subframes={}/{}\n", tc.hours, tc.minutes, tc.seconds,
               tc.frames, tc.subframes, tc.subframeDivisor);
  });
}

}  // namespace dawctl
