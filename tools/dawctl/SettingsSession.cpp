#include "SettingsSession.h"

#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>
#include <optional>
#include <vector>

#include "ZAR_DAWControl/modes/SettingsFile.h"
#include "ZAR_DAWControl/modes/ZAR_DAWSettings.pb.h"
#include "ZAR_DAWControl/platform/Platform.h"

namespace dawctl {

void failSettingsCommand(const std::string& message, int exitCode) { failCommand("settings", message, exitCode); }

SettingsSession::SettingsSession(const std::string& directory)
    : _directory(directory.empty() ? zar::native::LocalFileUtility::defaultApplicationSupportDirectory(
                                         zar::platform::HostIdentity{}.applicationName)
                                   : directory),
      _disk(_directory),
      _memory(std::make_shared<zar::sim::MemoryFileUtility>(_directory)) {
  load<ZAR_ProtoDAWAudioTrackModeList>(ZAR_DAWAudioTrackModeList::fileName, "a mode list");
  load<ZAR_ProtoDAWMuteRecMatrix>(ZAR_DAWMuteRecMatrix::fileName, "a mode matrix");
  auto platform = std::make_shared<zar::platform::Platform>();
  platform->fileUtility = _memory;
  zar::platform::Platform::install(platform);
  list = std::make_shared<ZAR_DAWAudioTrackModeList>();
  matrix = std::make_unique<ZAR_DAWMuteRecMatrix>(list);
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
  bool directoryMade = false;
  for (const auto& [where, content] : _memory->files()) {
    const auto original = _original.find(where);
    if (original != _original.end() && original->second == content) continue;
    if (!directoryMade) {
      _disk.applicationSupportDirectoryPath();
      directoryMade = true;
    }
    if (!_disk.writeFileAtomically(where, content)) failSettingsCommand(fmt::format("cannot write {}", where), kExitFailure);
  }
}

std::string SettingsSession::path(const char* fileName) const {
  return (std::filesystem::path(_directory) / fileName).string();
}

template <typename Message>
void SettingsSession::load(const char* fileName, const char* what) {
  const std::string where = path(fileName);
  if (!_disk.fileExists(where)) return;
  const std::optional<std::string> content = _disk.readFile(where);
  if (!content) failSettingsCommand(fmt::format("cannot read {}", where), kExitFailure);
  Message message;
  if (content->size() > zar::modes::SettingsFile::maximumSize || !message.ParseFromString(*content)) {
    failSettingsCommand(fmt::format("{} does not hold {}; it is left as it is", where, what), kExitFailure);
  }
  _memory->writeFileAtomically(where, *content);
  _original.emplace(where, *content);
}

}  // namespace dawctl
