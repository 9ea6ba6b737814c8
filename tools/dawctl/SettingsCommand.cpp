// `dawctl settings`: inspects and edits the track modes and the mode matrix the way the framework
// keeps them.

#include <fmt/format.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <memory>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Commands.h"
#include "SettingsSession.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/SavedCopy.h"
#include "ZAR_DAWControl/modes/SettingsFile.h"
#include "ZAR_DAWControl/platform/utility/Utf8Text.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/modes/ZAR_DAWSettings.pb.h"
#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"

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

// The settings content of a file: a copy of a save holds it after its header; any other file is
// the content itself.
std::string settingsContent(const std::string& content, bool& isSavedCopy) {
  const auto copy = zar::modes::SavedCopy::decode(content);
  isSavedCopy = copy.has_value();
  return copy ? copy->content : content;
}

// The settings message the file's name says (a copy is named after its file), else nothing.
const char* namedFileOf(const std::string& file) {
  const std::string name = std::filesystem::path(file).filename().string();
  for (const char* fileName : {ZAR_DAWAudioTrackModeList::fileName, ZAR_DAWMuteRecMatrix::fileName}) {
    if (name.rfind(fileName, 0) == 0) return fileName;
  }
  return nullptr;
}

void decode(const std::string& file) {
  const auto read = zar::native::LocalFileUtility(".").readFile(file);
  if (!read) failSettingsCommand(fmt::format("cannot read {}", file), kExitFailure);
  bool isSavedCopy = false;
  const std::string content = settingsContent(*read, isSavedCopy);
  ZAR_ProtoDAWAudioTrackModeList list;
  ZAR_ProtoDAWMuteRecMatrix matrix;
  // The file's own name decides first; otherwise the message that explains every field, and the
  // list before the matrix.
  const char* named = namedFileOf(file);
  const bool matrixFirst = named != nullptr && std::string_view(named) == ZAR_DAWMuteRecMatrix::fileName;
  const google::protobuf::Message* chosen = nullptr;
  if (matrixFirst && parsesCleanly(matrix, content)) {
    chosen = &matrix;
  } else if (parsesCleanly(list, content)) {
    chosen = &list;
  } else if (parsesCleanly(matrix, content)) {
    chosen = &matrix;
  } else if (list.ParseFromString(content)) {
    chosen = &list;
  } else if (matrix.ParseFromString(content)) {
    chosen = &matrix;
  } else {
    failSettingsCommand(fmt::format("{} is neither a mode list nor a mode matrix", file), kExitFailure);
  }
  std::string text;
  google::protobuf::TextFormat::PrintToString(*chosen, &text);
  if (isSavedCopy) fmt::print("# the copy of a save, as the framework wrote it\n");
  fmt::print("# {}\n{}", chosen->GetTypeName(), text);
}

// What a copy beside a settings file holds, in a few words.
std::string summary(const std::string& fileName, const std::string& content) {
  if (std::string_view(fileName) == ZAR_DAWAudioTrackModeList::fileName) {
    ZAR_ProtoDAWAudioTrackModeList list;
    if (!list.ParseFromString(content)) return "not a mode list";
    return fmt::format("{} modes", list.modes_size());
  }
  ZAR_ProtoDAWMuteRecMatrix matrix;
  if (!matrix.ParseFromString(content)) return "not a mode matrix";
  std::size_t assigned = 0;
  for (const auto* uuids : {&matrix.rehearsemodeuuids(), &matrix.recordmodeuuids(), &matrix.reviewmodeuuids()}) {
    assigned += static_cast<std::size_t>(
        std::count_if(uuids->begin(), uuids->end(), [](const std::string& uuid) { return uuid != ZAR_DAWAudioTrackModeNullUUID; }));
  }
  return fmt::format("{} assignments", assigned);
}

// `settings status`: reads both files as the framework does at a start (keeping a damaged file
// aside as it would), says what it found, and lists the copies beside each file. True when
// neither file is damaged.
bool status(const std::string& directoryOption) {
  const std::string directory = settingsDirectory(directoryOption);
  const auto disk = std::make_shared<zar::native::LocalFileUtility>(directory);
  auto platform = std::make_shared<zar::platform::Platform>();
  platform->fileUtility = disk;
  platform->notificationCenter = std::make_shared<zar::native::SynchronousNotificationCenter>();
  zar::platform::Platform::install(platform);
  std::vector<ZAR_DAWSettingsFileStatus> statuses;
  const zar::platform::NotificationObservation observation(
      platform->notificationCenter, ZAR_DAWSettingsFileStatusNotification,
      [&statuses](const zar::platform::Notification& notification) {
        statuses.push_back(std::any_cast<ZAR_DAWSettingsFileStatus>(notification.object));
      });
  bool sound = true;
  std::set<std::string> listUuids;
  ZAR_ProtoDAWMuteRecMatrix storedMatrix;
  bool bothTaken = true;
  for (const char* fileName : {ZAR_DAWAudioTrackModeList::fileName, ZAR_DAWMuteRecMatrix::fileName}) {
    const std::string where = (std::filesystem::path(directory) / fileName).string();
    const zar::modes::SettingsFile file(fileName);
    ZAR_ProtoDAWAudioTrackModeList list;
    const bool isList = std::string_view(fileName) == ZAR_DAWAudioTrackModeList::fileName;
    statuses.clear();
    const auto loaded = file.readInto(isList ? static_cast<google::protobuf::MessageLite&>(list) : storedMatrix,
                                      isList ? "a mode list" : "a mode matrix");
    bothTaken = bothTaken && loaded == zar::modes::SettingsFile::Loaded::taken;
    if (isList) {
      for (const auto& mode : list.modes()) listUuids.insert(zar::platform::Utf8Text::repaired(mode.uuid()));
    }
    const bool hasCopy = disk->fileExists(where + std::string(zar::modes::SavedCopy::suffix));
    fmt::print("{}: ", where);
    if (!statuses.empty()) {
      sound = false;
      fmt::print("damaged\n  {}\n", statuses.front().description);
      if (!statuses.front().lastSavedCopyPath.empty()) {
        fmt::print("  to bring back the last version saved: dawctl settings restore {}{}\n",
                   std::filesystem::path(statuses.front().lastSavedCopyPath).filename().string(),
                   directoryOption.empty() ? "" : " --dir " + directoryOption);
      }
    } else if (loaded == zar::modes::SettingsFile::Loaded::missing) {
      fmt::print("missing (the host's next start makes it)\n");
    } else if (loaded == zar::modes::SettingsFile::Loaded::refused) {
      sound = false;
      fmt::print("not a regular file; the framework neither reads nor replaces it\n");
    } else {
      const auto content = disk->readFile(where).value_or("");
      fmt::print("{} ({}{})\n", hasCopy ? "as last saved" : "read as it is", summary(fileName, content),
                 hasCopy ? "" : "; no copy of a save beside it, so damage that still parses can't be told");
    }
    std::vector<std::string> copies;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
      const std::string name = entry.path().filename().string();
      if (name.size() > std::strlen(fileName) && name.rfind(std::string(fileName) + ".", 0) == 0) copies.push_back(name);
    }
    std::sort(copies.begin(), copies.end());
    for (const std::string& name : copies) {
      const auto content = disk->readFile((std::filesystem::path(directory) / name).string());
      bool isSavedCopy = false;
      const std::string held = content ? settingsContent(*content, isSavedCopy) : std::string();
      fmt::print("  beside it: {} ({}{})\n", name, isSavedCopy ? "a copy of a save: " : "",
                 content ? summary(fileName, held) : "can't be read");
    }
  }
  if (bothTaken) {
    std::size_t notFound = 0;
    for (const auto* uuids : {&storedMatrix.rehearsemodeuuids(), &storedMatrix.recordmodeuuids(), &storedMatrix.reviewmodeuuids()}) {
      for (int index = 0; index < std::min(uuids->size(), 64); ++index) {
        const std::string uuid = zar::platform::Utf8Text::repaired(uuids->Get(index));
        if (uuid != ZAR_DAWAudioTrackModeNullUUID && !listUuids.contains(uuid)) ++notFound;
      }
    }
    if (notFound > 0) {
      fmt::print("{} assignments name modes that the list doesn't have: the host's next start reads them as no mode "
                 "and keeps the matrix aside\n",
                 notFound);
    }
  }
  fmt::print("dawctl settings restore COPY{} puts a copy in place of its file\n",
             directoryOption.empty() ? "" : " --dir " + directoryOption);
  return sound;
}

// `settings restore`: puts the content of a copy beside a settings file (a copy of a save, or a
// file kept aside) in place of that file, keeping the file as it is aside first, and writes the
// copy of the save with it so that the next start takes it as saved.
void restore(const std::string& directoryOption, const std::string& copyName) {
  const std::string directory = settingsDirectory(directoryOption);
  zar::native::LocalFileUtility disk(directory);
  const std::string copyPath = copyName.find('/') == std::string::npos
                                   ? (std::filesystem::path(directory) / copyName).string()
                                   : copyName;
  const char* fileName = namedFileOf(copyPath);
  if (fileName == nullptr) {
    failSettingsCommand(fmt::format("{} is not named after {} or {}", copyName, ZAR_DAWAudioTrackModeList::fileName,
                                    ZAR_DAWMuteRecMatrix::fileName));
  }
  const auto read = disk.readFile(copyPath);
  if (!read) failSettingsCommand(fmt::format("cannot read {}", copyPath), kExitFailure);
  bool isSavedCopy = false;
  const std::string content = settingsContent(*read, isSavedCopy);
  const bool isList = std::string_view(fileName) == ZAR_DAWAudioTrackModeList::fileName;
  ZAR_ProtoDAWAudioTrackModeList list;
  ZAR_ProtoDAWMuteRecMatrix matrix;
  if (!(isList ? list.ParseFromString(content) : matrix.ParseFromString(content))) {
    failSettingsCommand(fmt::format("{} does not hold {}", copyPath, isList ? "a mode list" : "a mode matrix"),
                        kExitFailure);
  }
  const std::string target = (std::filesystem::path(directory) / fileName).string();
  std::string keptNote;
  if (disk.fileExists(target) && disk.readFile(target) != content) {
    const auto kept = disk.keepAside(target, "replaced", zar::modes::SettingsFile::keptCopies);
    if (!kept.done) failSettingsCommand(fmt::format("cannot keep {} aside: {}", target, kept.failure), kExitFailure);
    keptNote = fmt::format("; the file as it was is kept as {}", std::filesystem::path(kept.path).filename().string());
  }
  const std::string savedPath = target + std::string(zar::modes::SavedCopy::suffix);
  if (!disk.writeFileAtomically(savedPath, zar::modes::SavedCopy::encode(content)) ||
      !disk.writeFileAtomically(target, content)) {
    failSettingsCommand(fmt::format("cannot write {}", target), kExitFailure);
  }
  fmt::print("restored {} from {} ({}){}\n", fileName, std::filesystem::path(copyPath).filename().string(),
             summary(fileName, content), keptNote);
  fmt::print("a host that is running saves its own modes over it at its next change; restart it to read them\n");
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
    auto directory = std::make_shared<DirectoryChoice>();
    auto* command = settings->add_subcommand(
        "status", "Say whether the two files are as last saved, and list the copies kept beside them");
    addDirectoryOptions(*command, directory, false);
    command->callback([directory] {
      if (!status(checkedDirectory("settings", *directory))) throw CLI::RuntimeError(kExitFailure);
    });
  }
  {
    auto directory = std::make_shared<DirectoryChoice>();
    auto copy = std::make_shared<std::string>();
    auto* command = settings->add_subcommand(
        "restore", "Put a copy kept beside a settings file (as settings status lists them) in place of that file");
    addDirectoryOptions(*command, directory, false);
    command->add_option("COPY", *copy, "The copy's name in the settings directory, or its path")->required();
    command->callback([directory, copy] { restore(checkedDirectory("settings", *directory), *copy); });
  }
  {
    auto file = std::make_shared<std::string>();
    auto* command = settings->add_subcommand("decode", "Print a settings file in protobuf text format");
    command->add_option("FILE", *file, "AudioTrackModeList.bin or RecMuteMatrix.bin")->required();
    command->callback([file] { decode(*file); });
  }
}

}  // namespace dawctl
