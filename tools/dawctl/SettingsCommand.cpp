// `dawctl settings`: inspects and edits the track modes and the mode matrix the way the framework
// keeps them.

#include <fmt/format.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Commands.h"
#include "SettingsSession.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/modes/ZAR_DAWSettings.pb.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"

namespace dawctl {

namespace {

using ModePointer = std::shared_ptr<ZAR_DAWAudioTrackMode>;

constexpr const char* stateNames[] = {"Play", "Input", "Mute", "Record"};

std::string lowercase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

std::string stateName(std::int32_t state) {
  return state >= 0 && state <= 3 ? stateNames[state] : std::to_string(state);
}

ZAR_DAWTrackState parseState(const std::string& text) {
  for (std::int32_t state = 0; state <= 3; ++state) {
    if (lowercase(text) == lowercase(stateNames[state])) return static_cast<ZAR_DAWTrackState>(state);
  }
  failSettingsCommand(fmt::format("unknown track state {:?}; use Play, Input, Mute or Record", text));
}

std::string modeLabel(const ModePointer& mode) {
  if (mode == ZAR_DAWAudioTrackMode::nullTrackMode()) return "none";
  const auto name = mode->name();
  return name ? fmt::format("{:?}", *name) : "(no name)";
}

bool knowsEveryField(const google::protobuf::Message& message) {
  return message.GetReflection()->GetUnknownFields(message).empty();
}

bool parsesCleanly(ZAR_ProtoDAWAudioTrackModeList& list, const std::string& content) {
  if (!list.ParseFromString(content) || !knowsEveryField(list)) return false;
  return std::all_of(list.modes().begin(), list.modes().end(),
                     [](const ZAR_ProtoDAWAudioTrackMode& mode) { return knowsEveryField(mode); });
}

bool parsesCleanly(ZAR_ProtoDAWMuteRecMatrix& matrix, const std::string& content) {
  return matrix.ParseFromString(content) && knowsEveryField(matrix);
}

void show(const SettingsSession& settings) {
  fmt::print("modes ({}):\n", settings.path(ZAR_DAWAudioTrackModeList::fileName));
  const auto modes = settings.list->audioTrackModes();
  if (modes->empty()) fmt::print("  (none)\n");
  for (std::size_t position = 0; position < modes->size(); ++position) {
    const auto& mode = (*modes)[position];
    fmt::print("  {:>3}  {:<24} uuid={}  before={} during={} after={}\n", position, modeLabel(mode),
               mode->uuid().value_or(""), stateName(mode->beforeState()), stateName(mode->duringState()),
               stateName(mode->afterState()));
  }
  fmt::print("assignments ({}):\n  {}\n", settings.path(ZAR_DAWMuteRecMatrix::fileName), kPositionsNote);
  const auto none = ZAR_DAWAudioTrackMode::nullTrackMode();
  bool any = false;
  for (std::int32_t track = 0; track < static_cast<std::int32_t>(ZAR_DAWMuteRecMatrix::trackCount); ++track) {
    const auto rehearse = settings.matrix->rehearseModeAtTrackIndex(track);
    const auto record = settings.matrix->recordModeAtTrackIndex(track);
    const auto review = settings.matrix->reviewModeAtTrackIndex(track);
    if (rehearse == none && record == none && review == none) continue;
    any = true;
    fmt::print("  track {:>2}: rehearse={} record={} review={}\n", track, modeLabel(rehearse), modeLabel(record),
               modeLabel(review));
  }
  if (!any) fmt::print("  (none)\n");
}

std::int32_t parseTrack(const std::string& text) {
  std::int32_t track = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), track);
  if (error != std::errc() || end != text.data() + text.size() || track < 0 ||
      track >= static_cast<std::int32_t>(ZAR_DAWMuteRecMatrix::trackCount)) {
    failSettingsCommand(fmt::format("track {:?} is not a track position from 0 to 63", text));
  }
  return track;
}

void decode(const std::string& file) {
  const auto content = zar::native::LocalFileUtility(".").readFile(file);
  if (!content) failSettingsCommand(fmt::format("cannot read {}", file), kExitFailure);
  ZAR_ProtoDAWAudioTrackModeList list;
  ZAR_ProtoDAWMuteRecMatrix matrix;
  const std::string name = std::filesystem::path(file).filename().string();
  // The file's own name decides first; otherwise the message that explains every field, and the
  // list before the matrix.
  const bool matrixFirst = name == ZAR_DAWMuteRecMatrix::fileName;
  const google::protobuf::Message* chosen = nullptr;
  if (matrixFirst && parsesCleanly(matrix, *content)) {
    chosen = &matrix;
  } else if (parsesCleanly(list, *content)) {
    chosen = &list;
  } else if (parsesCleanly(matrix, *content)) {
    chosen = &matrix;
  } else if (list.ParseFromString(*content)) {
    chosen = &list;
  } else if (matrix.ParseFromString(*content)) {
    chosen = &matrix;
  } else {
    failSettingsCommand(fmt::format("{} is neither a mode list nor a mode matrix", file), kExitFailure);
  }
  std::string text;
  google::protobuf::TextFormat::PrintToString(*chosen, &text);
  fmt::print("# {}\n{}", chosen->GetTypeName(), text);
}

CLI::App* withDirectory(CLI::App* command, const std::shared_ptr<DirectoryChoice>& directory) {
  addDirectoryOptions(*command, directory, true);
  return command;
}

// Opens the settings of the directory chosen, which must exist unless --create was given.
SettingsSession open(const DirectoryChoice& choice) { return SettingsSession(checkedDirectory("settings", choice)); }

// The track positions that assign `mode` in any column, each with the columns.
std::vector<std::string> assignmentsOf(const ZAR_DAWMuteRecMatrix& matrix, const ModePointer& mode) {
  std::vector<std::string> found;
  for (std::int32_t track = 0; track < static_cast<std::int32_t>(ZAR_DAWMuteRecMatrix::trackCount); ++track) {
    std::vector<const char*> columns;
    if (matrix.rehearseModeAtTrackIndex(track) == mode) columns.push_back("rehearse");
    if (matrix.recordModeAtTrackIndex(track) == mode) columns.push_back("record");
    if (matrix.reviewModeAtTrackIndex(track) == mode) columns.push_back("review");
    if (!columns.empty()) found.push_back(fmt::format("{} ({})", track, fmt::join(columns, ", ")));
  }
  return found;
}

// Refuses a name that the list already has, or the name that means no mode.
void checkNewName(const SettingsSession& settings, const std::string& name) {
  if (lowercase(name) == "none") {
    failSettingsCommand("\"none\" means no mode in assignments; give the mode another name");
  }
  for (const auto& mode : *settings.list->audioTrackModes()) {
    if (mode->name() == name) {
      failSettingsCommand(fmt::format("a mode is already named {:?} (uuid={}); give another name", name,
                                      mode->uuid().value_or("")));
    }
  }
}

}  // namespace

void addSettingsCommand(CLI::App& app) {
  auto* settings = app.add_subcommand("settings", "Show and edit the track modes and the mode matrix");
  settings->require_subcommand(1);
  settings->footer(kPositionsNote);

  {
    auto directory = std::make_shared<DirectoryChoice>();
    auto* command = withDirectory(settings->add_subcommand("show", "List the modes and the assigned tracks"),
                                  directory);
    command->callback([directory] {
      SettingsSession opened = open(*directory);
      show(opened);
      opened.commit();
    });
  }
  {
    auto directory = std::make_shared<DirectoryChoice>();
    auto arguments = std::make_shared<std::vector<std::string>>();
    auto* command = withDirectory(
        settings->add_subcommand("add-mode", "Append a mode: NAME BEFORE DURING AFTER (Play, Input, Mute, Record)"),
        directory);
    command->add_option("NAME BEFORE DURING AFTER", *arguments, "Name and the three states")->required()->expected(4);
    command->callback([directory, arguments] {
      const auto& values = *arguments;
      const ZAR_DAWTrackState before = parseState(values[1]);
      const ZAR_DAWTrackState during = parseState(values[2]);
      const ZAR_DAWTrackState after = parseState(values[3]);
      SettingsSession opened = open(*directory);
      checkNewName(opened, values[0]);
      auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
      mode->setBeforeState(before);
      mode->setDuringState(during);
      mode->setAfterState(after);
      mode->setName(values[0]);
      opened.list->addAudioTrackMode(mode);
      opened.commit();
      fmt::print("added {} uuid={}\n", modeLabel(mode), mode->uuid().value_or(""));
    });
  }
  {
    auto directory = std::make_shared<DirectoryChoice>();
    auto which = std::make_shared<std::string>();
    auto* command =
        withDirectory(settings->add_subcommand("remove-mode", "Remove a mode, named by its name or uuid"), directory);
    auto force = std::make_shared<bool>(false);
    command->add_option("MODE", *which, "Name or uuid of the mode")->required();
    command->add_flag("--force", *force, "Remove it even when tracks are assigned it (they then have no mode)");
    command->callback([directory, which, force] {
      SettingsSession opened = open(*directory);
      const ModePointer mode = opened.resolve(*which, false);
      const auto assigned = assignmentsOf(*opened.matrix, mode);
      if (!assigned.empty() && !*force) {
        failSettingsCommand(fmt::format("{} is assigned to track {}; give --force to remove it and leave them without "
                                        "a mode",
                                        modeLabel(mode), fmt::join(assigned, ", ")));
      }
      const auto none = ZAR_DAWAudioTrackMode::nullTrackMode();
      for (std::int32_t track = 0; track < static_cast<std::int32_t>(ZAR_DAWMuteRecMatrix::trackCount); ++track) {
        if (opened.matrix->rehearseModeAtTrackIndex(track) == mode) opened.matrix->setRehearseMode(none, track);
        if (opened.matrix->recordModeAtTrackIndex(track) == mode) opened.matrix->setRecordMode(none, track);
        if (opened.matrix->reviewModeAtTrackIndex(track) == mode) opened.matrix->setReviewMode(none, track);
      }
      opened.list->removeAudioTrackMode(mode);
      opened.commit();
      fmt::print("removed {} uuid={}\n", modeLabel(mode), mode->uuid().value_or(""));
      if (!assigned.empty()) fmt::print("track {} now without it\n", fmt::join(assigned, ", "));
    });
  }
  {
    auto directory = std::make_shared<DirectoryChoice>();
    auto track = std::make_shared<std::string>();
    auto rehearse = std::make_shared<std::string>();
    auto record = std::make_shared<std::string>();
    auto review = std::make_shared<std::string>();
    auto* command = withDirectory(
        settings->add_subcommand("assign", "Assign modes to a track position (MODE: name, uuid or none)"), directory);
    command->add_option("TRACK", *track, "Track position, 0 to 63 (audio and aux tracks from the top)")->required();
    auto* rehearseOption = command->add_option("--rehearse", *rehearse, "Mode when rehearsing");
    auto* recordOption = command->add_option("--record", *record, "Mode when recording");
    auto* reviewOption = command->add_option("--review", *review, "Mode when reviewing");
    command->callback([=] {
      if (rehearseOption->count() + recordOption->count() + reviewOption->count() == 0) {
        failSettingsCommand("give at least one of --rehearse, --record and --review");
      }
      const std::int32_t index = parseTrack(*track);
      SettingsSession opened = open(*directory);
      // Every mode is resolved before anything is assigned, so a bad name changes nothing.
      const ModePointer rehearseMode = rehearseOption->count() > 0 ? opened.resolve(*rehearse, true) : nullptr;
      const ModePointer recordMode = recordOption->count() > 0 ? opened.resolve(*record, true) : nullptr;
      const ModePointer reviewMode = reviewOption->count() > 0 ? opened.resolve(*review, true) : nullptr;
      if (rehearseMode) opened.matrix->setRehearseMode(rehearseMode, index);
      if (recordMode) opened.matrix->setRecordMode(recordMode, index);
      if (reviewMode) opened.matrix->setReviewMode(reviewMode, index);
      opened.commit();
      fmt::print("track {}: rehearse={} record={} review={}\n", index,
                 modeLabel(opened.matrix->rehearseModeAtTrackIndex(index)),
                 modeLabel(opened.matrix->recordModeAtTrackIndex(index)),
                 modeLabel(opened.matrix->reviewModeAtTrackIndex(index)));
    });
  }
  {
    auto file = std::make_shared<std::string>();
    auto* command = settings->add_subcommand("decode", "Print a settings file in protobuf text format");
    command->add_option("FILE", *file, "AudioTrackModeList.bin or RecMuteMatrix.bin")->required();
    command->callback([file] { decode(*file); });
  }
}

}  // namespace dawctl
