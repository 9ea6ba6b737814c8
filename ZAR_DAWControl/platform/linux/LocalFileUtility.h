#pragma once

#include <string>

#include "ZAR_DAWControl/platform/FileUtility.h"

namespace zar::native {

/// Files on the local file system. The support directory is `$XDG_DATA_HOME/<application name>`
/// (`~/.local/share/<application name>` without it), or a directory given explicitly.
class LocalFileUtility final : public platform::FileUtility {
 public:
  explicit LocalFileUtility(std::string applicationSupportDirectory);
  /// The support directory of the named application under the user's data directory.
  static std::string defaultApplicationSupportDirectory(const std::string& applicationName);

  std::string applicationSupportDirectoryPath() override;
  bool fileExists(const std::string& path) override;
  std::optional<std::string> readFile(const std::string& path) override;
  bool writeFileAtomically(const std::string& path, std::string_view content) override;

 private:
  std::string _directory;
};

}  // namespace zar::native
