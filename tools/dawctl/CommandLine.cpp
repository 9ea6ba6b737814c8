#include "CommandLine.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <filesystem>
#include <optional>
#include <system_error>
#include <vector>

namespace dawctl {

const char* const kPositionsNote =
    "Track positions count from 0 to 63 over the audio and aux tracks only, from the top of the edit window; "
    "they are not Pro Tools' own track numbers.";

const char* const kHelpFooter =
    "Track positions count from 0 to 63 over the audio and aux tracks only, from the top of the edit window;\n"
    "they are not Pro Tools' own track numbers.\n"
    "Exit codes: 0 ok; 1 a failure found (Pro Tools differs or doesn't answer, a file can't be read);\n"
    "2 usage (unknown command or option, bad number or name, missing --dir) or the command could not run;\n"
    "3 hui-check: the HUI MIDI ports can't be opened.";

void failCommand(const std::string& command, const std::string& message, int exitCode) {
  fmt::print(stderr, "dawctl {}: {}\n", command, message);
  throw CLI::RuntimeError(exitCode);
}

void addDirectoryOptions(CLI::App& command, const std::shared_ptr<DirectoryChoice>& choice, bool offerCreate) {
  command.add_option("--dir", choice->directory,
                     "Settings directory instead of the application support directory; it must exist");
  if (offerCreate) {
    command.add_flag("--create", choice->create, "Make the --dir directory when it doesn't exist yet");
  }
}

std::string checkedDirectory(const std::string& command, const DirectoryChoice& choice) {
  if (choice.directory.empty()) return choice.directory;
  std::error_code error;
  const auto status = std::filesystem::status(choice.directory, error);
  if (std::filesystem::is_directory(status)) return choice.directory;
  if (std::filesystem::exists(status)) {
    failCommand(command, fmt::format("--dir {} is not a directory", choice.directory), kExitUsage);
  }
  if (!choice.create) {
    failCommand(command, fmt::format("--dir {} does not exist; give --create to make a new settings directory",
                                     choice.directory),
                kExitUsage);
  }
  return choice.directory;  // made when the first file is written
}

CLI::Validator secondsBetween(double low, double high) {
  return CLI::Validator(
      [low, high](std::string& text) -> std::string {
        double value = 0;
        std::size_t used = 0;
        try {
          value = std::stod(text, &used);
        } catch (const std::exception&) {
          used = 0;
        }
        if (used == 0 || used != text.size() || !(value >= low && value <= high)) {
          return fmt::format("{} is not a number of seconds from {} to {}", text, low, high);
        }
        return {};
      },
      fmt::format("SECONDS in {}..{}", low, high));
}

namespace {

// The first word that names no command where a command is expected, or nothing.
std::optional<std::string> unknownCommand(CLI::App& app, const std::vector<std::string>& words, std::size_t at) {
  if (at >= words.size() || words[at].empty() || words[at][0] == '-') return std::nullopt;
  const auto commands = app.get_subcommands([](CLI::App*) { return true; });
  if (commands.empty()) return std::nullopt;
  for (auto* command : commands) {
    if (command->check_name(words[at])) return unknownCommand(*command, words, at + 1);
  }
  std::vector<std::string> names;
  for (auto* command : commands) names.push_back(command->get_name());
  return fmt::format("unknown command \"{}\"; the commands{} are: {}", words[at],
                     app.get_parent() ? " of " + app.get_name() : std::string(), fmt::join(names, ", "));
}

}  // namespace

int runCommandLine(CLI::App& app, int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (const auto unknown = unknownCommand(app, words, 0)) {
    fmt::print(stderr, "dawctl: {}\n", *unknown);
    return kExitUsage;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::RuntimeError& error) {
    return error.get_exit_code();
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // the help or the version
    fmt::print(stderr, "dawctl: {}\n", error.what());
    return kExitUsage;
  }
  return kExitOk;
}

}  // namespace dawctl
