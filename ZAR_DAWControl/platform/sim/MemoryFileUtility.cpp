#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"

namespace zar::sim {

MemoryFileUtility::MemoryFileUtility(std::string applicationSupportDirectory)
    : _directory(std::move(applicationSupportDirectory)) {}

std::string MemoryFileUtility::applicationSupportDirectoryPath() { return _directory; }

bool MemoryFileUtility::fileExists(const std::string& path) {
  const std::lock_guard lock(_mutex);
  return _files.contains(path);
}

std::optional<std::string> MemoryFileUtility::readFile(const std::string& path) {
  const std::lock_guard lock(_mutex);
  const auto found = _files.find(path);
  if (found == _files.end()) {
    return std::nullopt;
  }
  return found->second;
}

bool MemoryFileUtility::writeFileAtomically(const std::string& path, std::string_view content) {
  const std::lock_guard lock(_mutex);
  ++_writeCount;
  _files.insert_or_assign(path, std::string(content));
  return true;
}

std::map<std::string, std::string> MemoryFileUtility::files() const {
  const std::lock_guard lock(_mutex);
  return _files;
}

std::size_t MemoryFileUtility::writeCount() const {
  const std::lock_guard lock(_mutex);
  return _writeCount;
}

}  // namespace zar::sim
