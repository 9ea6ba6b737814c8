#pragma once

#include <map>
#include <mutex>
#include <string>

#include "ZAR_DAWControl/platform/FileUtility.h"

namespace zar::sim {

/// Files kept in memory, keyed by their full path. The support directory is a name only; nothing
/// touches the disk. Writes always succeed and replace the whole content at once. A copy kept aside
/// is named `<path>.<tag>-<n>`, counting copies from 1, as there is no wall clock to name it by;
/// every copy stays as long as the object (no older ones are pruned).
/// A copy of a file as it already is, with the same tag, is not made twice.
class MemoryFileUtility final : public platform::FileUtility {
 public:
  explicit MemoryFileUtility(std::string applicationSupportDirectory);

  std::string applicationSupportDirectoryPath() override;
  bool fileExists(const std::string& path) override;
  platform::FileRead read(const std::string& path, std::size_t maximumSize) override;
  platform::FileChange write(const std::string& path, std::string_view content) override;
  platform::FileChange append(const std::string& path, std::string_view content) override;
  platform::FileChange keepAside(const std::string& path, const std::string& tag, std::size_t keep) override;
  platform::FileChange remove(const std::string& path) override;

  /// Every file with its content, by path.
  std::map<std::string, std::string> files() const;

 private:
  const std::string _directory;
  mutable std::mutex _mutex;
  std::map<std::string, std::string> _files;
  std::size_t _copyCount = 0;
  /// The newest copy made of each file with each tag, by `<path>.<tag>`.
  std::map<std::string, std::string> _newestCopies;
};

}  // namespace zar::sim
