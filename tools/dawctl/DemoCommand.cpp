#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "Commands.h"
#include "DemoScript.h"

namespace dawctl {

void addDemoCommand(CLI::App& app) {
  auto options = std::make_shared<DemoScript::Options>();
  auto json = std::make_shared<bool>(false);
  auto* command = app.add_subcommand(
      "demo", "The road of one take against the simulated Pro Tools: rehearse, record twice, review, then a take "
              "without HUI; exits 1 when Pro Tools differs from what the modes ask");
  command->add_flag("--virtual-time", options->virtualTime, "Run in virtual time, as fast as the machine allows");
  command->add_flag("--json", *json, "Write the events as JSON lines");
  command->add_option("--dir", options->settingsDirectory,
                      "Use the mode list and matrix of this directory instead of the demo's (read only)");
  command->add_option("--fps", options->framesPerSecond, "The picture's frame rate")
      ->check(CLI::Range(10, 120))
      ->capture_default_str();
  command->callback([options, json] {
    const bool terminal = isatty(fileno(stdout)) != 0;
    options->style.json = *json;
    options->style.colour = terminal && !*json && std::getenv("NO_COLOR") == nullptr;
    options->style.live = terminal && !*json && !options->virtualTime;
    std::vector<PhaseCheck::Difference> differences;
    try {
      DemoScript script(*options);
      differences = script.run();
    } catch (const DemoScript::Failure& failure) {
      fmt::print(stderr, "dawctl demo: {}\n", failure.what());
      throw CLI::RuntimeError(2);
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
