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
class MemoryFileUtility final : public platform::FileUtility {
 public:
  explicit MemoryFileUtility(std::string applicationSupportDirectory);

  std::string applicationSupportDirectoryPath() override;
  bool fileExists(const std::string& path) override;
  platform::FileRead read(const std::string& path, std::size_t maximumSize) override;
  platform::FileChange write(const std::string& path, std::string_view content) override;
  platform::FileChange keepAside(const std::string& path, const std::string& tag, std::size_t keep) override;

  /// Every file with its content, by path.
  std::map<std::string, std::string> files() const;

 private:
  const std::string _directory;
  mutable std::mutex _mutex;
  std::map<std::string, std::string> _files;
  std::size_t _copyCount = 0;
};

}  // namespace zar::sim
