#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"

#include <algorithm>
#include <charconv>
#include <utility>
#include <vector>

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

platform::FileChange MemoryFileUtility::keepAside(const std::string& path, const std::string& tag, std::size_t keep) {
  const std::lock_guard lock(_mutex);
  const auto found = _files.find(path);
  if (found == _files.end()) {
    return {false, {}, "no such file"};
  }
  const std::string prefix = path + "." + tag + "-";
  const std::string copy = prefix + std::to_string(++_copyCount);
  _files.insert_or_assign(copy, found->second);
  // Copy numbers only grow, so the oldest copies are those with the lowest numbers.
  std::vector<std::pair<std::size_t, std::string>> copies;
  for (const auto& [name, content] : _files) {
    std::size_t number = 0;
    const char* last = name.data() + name.size();
    if (name.starts_with(prefix) && std::from_chars(name.data() + prefix.size(), last, number).ptr == last) {
      copies.emplace_back(number, name);
    }
  }
  std::sort(copies.begin(), copies.end());
  for (std::size_t i = 0; i + std::max<std::size_t>(keep, 1) < copies.size(); ++i) _files.erase(copies[i].second);
  return {true, copy, {}};
}

std::map<std::string, std::string> MemoryFileUtility::files() const {
  const std::lock_guard lock(_mutex);
  return _files;
}

}  // namespace zar::sim
