#include "ZAR_DAWControl/modes/SettingsFile.h"

#include <filesystem>
#include <memory>

#include "ZAR_DAWControl/platform/Platform.h"

namespace zar::modes {

namespace {

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

std::optional<std::string> SettingsFile::read() const {
  const auto files = currentFiles();
  if (!files) {
    return std::string();
  }
  std::optional<std::string> content = files->readFile(pathIn(*files, _fileName));
  if (!content) {
    return std::string();
  }
  if (content->size() > maximumSize) {
    return std::nullopt;
  }
  return content;
}

bool SettingsFile::write(std::string_view content) const {
  const auto files = currentFiles();
  return files && files->writeFileAtomically(pathIn(*files, _fileName), content);
}

}  // namespace zar::modes
