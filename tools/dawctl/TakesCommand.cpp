// `dawctl takes`: the passes the framework kept on disk, with their verdicts.

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <ctime>
#include <filesystem>
#include <memory>
#include <string>

#include "CommandLine.h"
#include "Commands.h"
#include "PassReport.h"
#include "SettingsSession.h"
#include "ZAR_DAWControl/passes/PassLog.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"

namespace dawctl {

namespace {

using zar::passes::PassLog;

struct TakesOptions {
  std::string directory;
  bool json = false;
  std::size_t last = 20;
  std::size_t number = 1;
};

// The log of the directory, read; a log that can't be read, or holds damage, is said on standard
// error and makes the exit status 1 once the passes that are whole are shown.
PassLog::Contents readLog(const std::string& directoryOption, bool& damaged) {
  const std::string directory = settingsDirectory(directoryOption);
  const std::string path = (std::filesystem::path(directory) / PassLog::kFileName).string();
  zar::native::LocalFileUtility disk(directory);
  PassLog::Contents contents = PassLog::read(disk, path);
  using ReadStatus = zar::platform::FileRead::Status;
  damaged = false;
  if (contents.status == ReadStatus::missing) {
    fmt::print(stderr, "dawctl takes: no pass kept yet ({} is missing)\n", path);
  } else if (contents.status != ReadStatus::read) {
    fmt::print(stderr, "dawctl takes: {} can't be read: {}\n", path, contents.failure);
    damaged = true;
  } else if (contents.damagedLines > 0) {
    fmt::print(stderr, "dawctl takes: {} of the lines of {} hold no pass; the framework keeps the file aside at its next pass\n",
               contents.damagedLines, path);
    damaged = true;
  }
  return contents;
}

void list(const TakesOptions& options) {
  bool damaged = false;
  const auto contents = readLog(options.directory, damaged);
  const auto& records = contents.records;
  const std::size_t shown = std::min(options.last, records.size());
  if (!options.json && shown > 0) {
    fmt::print("{:>3}  {:<19}  {:<8}  {:<8}  {:>4}  {}\n", "#", "time", "cue", "pass", "take", "verdict");
  }
  for (std::size_t i = records.size() - shown; i < records.size(); ++i) {
    const auto& record = records[i];
    const std::size_t number = records.size() - i;  // 1 is the last pass
    const bool take = record.mode == ZAR_DAWModeRecord;
    if (options.json) {
      nlohmann::json line{{"n", number},
                          {"startedAt", record.startedAt},
                          {"cue", record.cue.cueNumber},
                          {"pass", ZAR_DAWPassRecord::modeText(record.mode)},
                          {"verdict", record.verdictText()},
                          {"differences", record.differences.size()}};
      if (take) line["take"] = record.cue.takesBefore + 1;
      fmt::print("{}\n", line.dump());
    } else {
      fmt::print("{:>3}  {:<19}  {:<8}  {:<8}  {:>4}  {}\n", number, localTime(record.startedAt), record.cue.cueNumber,
                 ZAR_DAWPassRecord::modeText(record.mode), take ? std::to_string(record.cue.takesBefore + 1) : "-",
                 record.verdictText());
    }
  }
  if (damaged) throw CLI::RuntimeError(kExitFailure);
}

void show(const TakesOptions& options) {
  bool damaged = false;
  const auto contents = readLog(options.directory, damaged);
  if (options.number < 1 || options.number > contents.records.size()) {
    failCommand("takes", fmt::format("there is no pass {}; {} passes are kept, 1 the last", options.number,
                                     contents.records.size()),
                kExitUsage);
  }
  const std::size_t index = contents.records.size() - options.number;
  if (options.json) {
    fmt::print("{}\n", contents.lines[index]);
  } else {
    printPassReport(contents.records[index], stdout);
  }
  if (damaged) throw CLI::RuntimeError(kExitFailure);
}

}  // namespace

void addTakesCommand(CLI::App& app) {
  auto options = std::make_shared<TakesOptions>();
  auto* command = app.add_subcommand(
      "takes", "The passes the framework kept (rehearse, record, review), the last at the bottom, with their verdicts: "
               "whether Pro Tools showed what the modes ask");
  command->add_option("--dir", options->directory,
                      "Settings directory instead of the application support directory (the log lies beside the "
                      "settings files)");
  command->add_flag("--json", options->json, "One JSON object a line");
  command->add_option("--last", options->last, "Show the last N passes")->default_val(20);
  auto* showCommand = command->add_subcommand("show", "One pass's timeline and what Pro Tools showed at each phase");
  showCommand->add_option("N", options->number, "The pass, as takes numbers them: 1 the last")->required();
  showCommand->add_option("--dir", options->directory, "Settings directory instead of the application support directory");
  showCommand->add_flag("--json", options->json, "The pass's whole record as one JSON object");
  showCommand->callback([options] { show(*options); });
  command->callback([options, showCommand] {
    if (!showCommand->parsed()) list(*options);
  });
  command->require_subcommand(0, 1);
}

}  // namespace dawctl
