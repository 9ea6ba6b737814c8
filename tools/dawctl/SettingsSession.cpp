#include "SettingsSession.h"

#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <vector>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/SavedCopy.h"
#include "ZAR_DAWControl/modes/SettingsFile.h"
#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"

namespace dawctl {

namespace {

using Status = ZAR_DAWSettingsFileStatus;

const char* const settingsFileNames[] = {ZAR_DAWAudioTrackModeList::fileName, ZAR_DAWMuteRecMatrix::fileName};

}  // namespace

void failSettingsCommand(const std::string& message, int exitCode) { failCommand("settings", message, exitCode); }

std::string settingsDirectory(const std::string& directory) {
  return directory.empty() ? zar::native::LocalFileUtility::defaultApplicationSupportDirectory(
                                 zar::platform::HostIdentity{}.applicationName)
                           : directory;
}

SettingsSession::SettingsSession(const std::string& directory)
    : _directory(settingsDirectory(directory)),
      _disk(_directory),
      _memory(std::make_shared<zar::sim::MemoryFileUtility>(_directory)) {
  for (const char* fileName : settingsFileNames) {
    load(path(fileName));
    load(path(fileName) + std::string(zar::modes::SavedCopy::suffix));
  }
  auto platform = std::make_shared<zar::platform::Platform>();
  platform->fileUtility = _memory;
  platform->notificationCenter = std::make_shared<zar::native::SynchronousNotificationCenter>();
  zar::platform::Platform::install(platform);
  std::vector<Status> statuses;
  const zar::platform::NotificationObservation observation(
      platform->notificationCenter, ZAR_DAWSettingsFileStatusNotification,
      [&statuses](const zar::platform::Notification& notification) {
        statuses.push_back(std::any_cast<Status>(notification.object));
      });
  list = std::make_shared<ZAR_DAWAudioTrackModeList>();
  matrix = std::make_unique<ZAR_DAWMuteRecMatrix>(list);
  for (const Status& status : statuses) {
    if (status.event == Status::Event::damaged) {
      failSettingsCommand(fmt::format("{} is damaged and left as it is; dawctl settings status{} says what is wrong "
                                      "and how to bring back its last saved version",
                                      status.path, directory.empty() ? "" : " --dir " + directory),
                          kExitFailure);
    }
  }
  // The paths of copies made in memory mean nothing on disk; the copy is made at the commit.
  for (const Status& status : statuses) {
    if (status.event != Status::Event::modesNotFound) continue;
    fmt::print(stderr, "dawctl settings: {}: {}\n", status.path,
               status.description.substr(0, status.description.find(" It is kept")));
    // Kept in memory as `<file>.<tag>-<n>`.
    const std::string tagged = status.keptCopyPath.substr(std::min(status.path.size() + 1, status.keptCopyPath.size()));
    if (!tagged.empty()) _keptAside.emplace_back(status.path, tagged.substr(0, tagged.rfind('-')));
  }
}

std::shared_ptr<ZAR_DAWAudioTrackMode> SettingsSession::resolve(const std::string& text, bool allowNone) const {
  const auto none = ZAR_DAWAudioTrackMode::nullTrackMode();
  if (allowNone && text == "none") return none;
  const auto byUuid = list->modeWithUUID(text);
  if (byUuid != none) return byUuid;
  std::vector<std::shared_ptr<ZAR_DAWAudioTrackMode>> named;
  for (const auto& mode : *list->audioTrackModes()) {
    if (mode->name() == text) named.push_back(mode);
  }
  if (named.empty()) failSettingsCommand(fmt::format("no mode is named {:?} or has that uuid", text));
  if (named.size() > 1) failSettingsCommand(fmt::format("{} modes are named {:?}; give the uuid", named.size(), text));
  return named.front();
}

void SettingsSession::commit() {
  const auto files = _memory->files();
  // Each copy of a save before its file, as the framework writes them.
  std::vector<std::string> changed;
  for (const char* fileName : settingsFileNames) {
    for (const std::string& where : {path(fileName) + std::string(zar::modes::SavedCopy::suffix), path(fileName)}) {
      const auto content = files.find(where);
      if (content == files.end()) continue;
      const auto original = _original.find(where);
      if (original == _original.end() || original->second != content->second) changed.push_back(where);
    }
  }
  if (changed.empty()) return;
  _disk.applicationSupportDirectoryPath();
  for (const auto& [file, tag] : _keptAside) {
    if (std::find(changed.begin(), changed.end(), file) == changed.end() || !_disk.fileExists(file)) continue;
    const auto kept = _disk.keepAside(file, tag, zar::modes::SettingsFile::keptCopies);
    if (!kept.done) failSettingsCommand(fmt::format("cannot keep {} aside: {}", file, kept.failure), kExitFailure);
  }
  for (const std::string& where : changed) {
    if (!_disk.writeFileAtomically(where, files.at(where))) {
      failSettingsCommand(fmt::format("cannot write {}", where), kExitFailure);
    }
  }
}

std::string SettingsSession::path(const char* fileName) const {
  return (std::filesystem::path(_directory) / fileName).string();
}

void SettingsSession::load(const std::string& where) {
  if (!_disk.fileExists(where)) return;
  const std::optional<std::string> content = _disk.readFile(where);
  if (!content) failSettingsCommand(fmt::format("cannot read {}", where), kExitFailure);
  _memory->writeFileAtomically(where, *content);
  _original.emplace(where, *content);
}

}  // namespace dawctl
