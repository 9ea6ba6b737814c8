#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"

#include <utility>

namespace zar::sim {

MemoryFileUtility::MemoryFileUtility(std::string applicationSupportDirectory)
    : _directory(std::move(applicationSupportDirectory)) {}

std::string MemoryFileUtility::applicationSupportDirectoryPath() { return _directory; }

bool MemoryFileUtility::fileExists(const std::string& path) {
  const std::lock_guard lock(_mutex);
  return _files.contains(path);
}

platform::FileRead MemoryFileUtility::read(const std::string& path, std::size_t maximumSize) {
  using Status = platform::FileRead::Status;
  const std::lock_guard lock(_mutex);
  const auto found = _files.find(path);
  if (found == _files.end()) {
    return {Status::missing, {}, "no such file"};
  }
  if (found->second.size() > maximumSize) {
    return {Status::tooLarge, {}, "too large"};
  }
  return {Status::read, found->second, {}};
}

platform::FileChange MemoryFileUtility::write(const std::string& path, std::string_view content) {
  const std::lock_guard lock(_mutex);
  _files.insert_or_assign(path, std::string(content));
  return {true, {}, {}};
}

platform::FileChange MemoryFileUtility::append(const std::string& path, std::string_view content) {
  const std::lock_guard lock(_mutex);
  _files[path].append(content);
  return {true, {}, {}};
}

platform::FileChange MemoryFileUtility::keepAside(const std::string& path, const std::string& tag, std::size_t /*keep*/) {
  const std::lock_guard lock(_mutex);
  const auto found = _files.find(path);
  if (found == _files.end()) {
    return {false, {}, "no such file"};
  }
  std::string& newest = _newestCopies[path + "." + tag];
  if (const auto copy = _files.find(newest); copy != _files.end() && copy->second == found->second) {
    return {true, newest, {}};
  }
  newest = path + "." + tag + "-" + std::to_string(++_copyCount);
  _files.insert_or_assign(newest, found->second);
  return {true, newest, {}};
}

platform::FileChange MemoryFileUtility::remove(const std::string& path) {
  const std::lock_guard lock(_mutex);
  _files.erase(path);
  return {true, {}, {}};
}

std::map<std::string, std::string> MemoryFileUtility::files() const {
  const std::lock_guard lock(_mutex);
  return _files;
}

}  // namespace zar::sim
