#pragma once

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

// What every dawctl command shares: its exit codes, the settings directory option, the checks of
// numbers, and the run of the whole command line.
namespace dawctl {

/// Exit codes, as `dawctl --help` and the README list them.
inline constexpr int kExitOk = 0;
/// The command ran and found a failure (Pro Tools differs, doesn't answer, a file can't be read).
inline constexpr int kExitFailure = 1;
/// The command line is wrong (unknown command or option, a bad number or name, a missing
/// directory), or the command could not run; nothing was changed.
inline constexpr int kExitUsage = 2;
/// `hui-check`: the HUI MIDI ports can't be opened.
inline constexpr int kExitPortsUnavailable = 3;

/// The help's last lines: the exit codes and how track positions are counted.
extern const char* const kHelpFooter;
/// How track positions are counted, as `settings show` and the help say it.
extern const char* const kPositionsNote;

/// Prints "dawctl <command>: <message>" on stderr and ends the command with `exitCode`.
[[noreturn]] void failCommand(const std::string& command, const std::string& message, int exitCode);

/// `--dir DIR` and `--create` of a command that works on a settings directory.
struct DirectoryChoice {
  std::string directory;
  bool create = false;
};
void addDirectoryOptions(CLI::App& command, const std::shared_ptr<DirectoryChoice>& choice, bool offerCreate);
/// The directory chosen (empty: the application's own). A directory named with `--dir` must
/// exist and be a directory; with `--create` a missing one is made when the first file is
/// written. Otherwise the command ends
/// with `kExitUsage`, naming the directory.
std::string checkedDirectory(const std::string& command, const DirectoryChoice& choice);

/// Accepts a number of seconds from `low` to `high` and names the option and the bounds otherwise.
CLI::Validator secondsBetween(double low, double high);

/// Parses and runs the command line; returns the exit code. CLI11's own errors become
/// `kExitUsage`; an unknown command is named with the commands there are.
int runCommandLine(CLI::App& app, int argc, char** argv);

}  // namespace dawctl
