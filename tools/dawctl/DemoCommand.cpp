#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "CommandLine.h"
#include "Commands.h"
#include "DemoScript.h"

namespace dawctl {

void addDemoCommand(CLI::App& app) {
  auto options = std::make_shared<DemoScript::Options>();
  auto json = std::make_shared<bool>(false);
  auto desktop = std::make_shared<std::string>("sim");
  auto standInOptions = std::make_shared<bool>(false);
  auto* command = app.add_subcommand(
      "demo", "The road of one take against the simulated Pro Tools (or the stand-in on the X11 desktop): rehearse, "
              "record twice, review, then a take without HUI; exits 1 when Pro Tools differs from what the modes ask");
  command->add_option("--desktop", *desktop, "The simulated desktop, or the stand-in Pro Tools on the X11 desktop of "
                                             "$DISPLAY (started with the options --standin-options prints)")
      ->check(CLI::IsMember({"sim", "x11"}))
      ->capture_default_str();
  command->add_flag("--standin-options", *standInOptions,
                    "Print the options that start tools/protools-standin with the demo's session, one a line");
  command->add_option("--passes", options->passes,
                      "Run only the first N passes (1 rehearse, 2 and 3 record, 4 review, 5 record without HUI)")
      ->check(CLI::Range(1, DemoScript::kPasses))
      ->capture_default_str();
  command->add_flag("--virtual-time", options->virtualTime, "Run in virtual time, as fast as the machine allows");
  command->add_flag("--json", *json, "Write the events as JSON lines");
  command->add_option("--dir", options->settingsDirectory,
                      "Use the mode list and matrix of this directory instead of the demo's (read only)");
  command->add_option("--fps", options->framesPerSecond, "The picture's frame rate")
      ->check(CLI::Range(10, 120))
      ->capture_default_str();
  command->callback([options, json, desktop, standInOptions] {
    if (*standInOptions) {
      for (const auto& option : DemoSession::standard().standInOptions()) fmt::print("{}\n", option);
      return;
    }
    if (*desktop == "x11") {
      if (options->virtualTime) failCommand("demo", "--virtual-time is for the simulated desktop", kExitUsage);
      options->desktop = DemoScript::Desktop::x11;
    }
    const bool terminal = isatty(fileno(stdout)) != 0;
    options->style.json = *json;
    options->style.colour = terminal && !*json && std::getenv("NO_COLOR") == nullptr;
    options->style.live = terminal && !*json && !options->virtualTime;
    std::vector<PhaseCheck::Difference> differences;
    try {
      DemoScript script(*options);
      differences = script.run();
    } catch (const DemoScript::Failure& failure) {
      failCommand("demo", failure.what(), kExitUsage);
    } catch (const std::exception& error) {
      fmt::print(stderr, "dawctl demo: stopped by an unexpected error: {}\n", error.what());
      throw CLI::RuntimeError(2);
    }
    if (!differences.empty()) {
      fmt::print(stderr, "dawctl demo: Pro Tools differs from what the modes ask ({} difference{}); first: {}\n",
                 differences.size(), differences.size() == 1 ? "" : "s", differences.front().text);
      throw CLI::RuntimeError(1);
    }
  });
}

}  // namespace dawctl
