#include "ZAR_DAWControl/modes/SettingsFile.h"

#include <google/protobuf/message_lite.h>

#include <filesystem>
#include <memory>

#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/Platform.h"

namespace zar::modes {

namespace {

using platform::FileRead;

std::shared_ptr<platform::FileUtility> currentFiles() { return platform::Platform::current()->fileUtility; }

std::string pathIn(platform::FileUtility& files, const std::string& fileName) {
  return (std::filesystem::path(files.applicationSupportDirectoryPath()) / fileName).string();
}

}  // namespace

SettingsFile::SettingsFile(std::string fileName) : _fileName(std::move(fileName)) {}

std::optional<std::string> SettingsFile::path() const {
  const auto files = currentFiles();
  if (!files) {
    return std::nullopt;
  }
  return pathIn(*files, _fileName);
}

bool SettingsFile::exists() const {
  const auto files = currentFiles();
  return files && files->fileExists(pathIn(*files, _fileName));
}

bool SettingsFile::readInto(google::protobuf::MessageLite& message, std::string_view what) const {
  message.Clear();
  const auto files = currentFiles();
  if (!files) {
    return true;
  }
  const std::string where = pathIn(*files, _fileName);
  const FileRead file = files->read(where, maximumSize);
  std::string problem;
  switch (file.status) {
    case FileRead::Status::missing:
      return true;
    case FileRead::Status::notRegular:
      ZAR_LOG_ERROR("Settings file {} is not a regular file; it is ignored and not written over", where);
      return false;
    case FileRead::Status::tooLarge:
      problem = "is too large to be " + std::string(what);
      break;
    case FileRead::Status::failed:
      problem = "can't be read (" + file.failure + ")";
      break;
    case FileRead::Status::read:
      if (message.ParseFromString(file.content)) {
        return true;
      }
      problem = "does not hold " + std::string(what);
      break;
  }
  ZAR_LOG_ERROR("Settings file {} {}; it is ignored, and kept aside before it is written over", where, problem);
  const std::lock_guard lock(_mutex);
  _keepAsideBeforeWriting = true;
  return false;
}

bool SettingsFile::write(std::string_view content) const {
  const auto files = currentFiles();
  if (!files) {
    return false;
  }
  const std::string where = pathIn(*files, _fileName);
  const std::lock_guard lock(_mutex);
  if (_keepAsideBeforeWriting && files->fileExists(where)) {
    const platform::FileChange kept = files->keepAside(where, "unreadable", keptUnreadableCopies);
    if (!kept.done) {
      logWriteFailure(where, "no copy of the unreadable file could be kept (" + kept.failure + "), so it is not written over");
      return false;
    }
    ZAR_LOG_ERROR("Settings file {} could not be read; kept it as {} before writing over it", where, kept.path);
  }
  _keepAsideBeforeWriting = false;
  const platform::FileChange written = files->write(where, content);
  if (!written.done) {
    logWriteFailure(where, written.failure);
    return false;
  }
  if (_writeFailing) {
    _writeFailing = false;
    ZAR_LOG_WARN("Settings file {} is written again", where);
  }
  return true;
}

void SettingsFile::logWriteFailure(const std::string& path, const std::string& failure) const {
  // Once for a run of failed writes: every assignment saves, and the log would fill with the same.
  if (!_writeFailing) {
    _writeFailing = true;
    ZAR_LOG_ERROR("Can't write settings file {}: {}; changes are kept in memory and written at the next save that works",
                  path, failure);
  }
}

}  // namespace zar::modes
