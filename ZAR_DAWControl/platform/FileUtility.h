#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zar::platform {

/// Files of the host application.
class FileUtility {
 public:
  virtual ~FileUtility() = default;
  /// The host's application support directory; made (with its parents) when missing.
  virtual std::string applicationSupportDirectoryPath() = 0;
  virtual bool fileExists(const std::string& path) = 0;
  /// The whole file, or nothing when it can't be read.
  virtual std::optional<std::string> readFile(const std::string& path) = 0;
  /// Writes the whole content to a temporary file in the same directory, flushes it to disk and
  /// renames it over `path`. A reader sees the old or the new file, never a part; on failure the
  /// old file is left as it was and no temporary file stays behind.
  virtual bool writeFileAtomically(const std::string& path, std::string_view content) = 0;
};

}  // namespace zar::platform
