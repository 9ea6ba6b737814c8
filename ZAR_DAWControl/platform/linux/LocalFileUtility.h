#pragma once

#include <optional>
#include <string>

#include "ZAR_DAWControl/platform/FileUtility.h"

namespace zar::native {

/// Files on the local file system. The support directory is `$XDG_DATA_HOME/<application name>`
/// (`~/.local/share/<application name>` without it), or a directory given explicitly.
///
/// A copy kept aside is a second hard link to the file, made before the file is replaced: it costs
/// no space (so it works on a full disk) and holds the bytes exactly. Where the file system has no
/// hard links, nothing is kept and `keepAside` fails.
class LocalFileUtility final : public platform::FileUtility {
 public:
  explicit LocalFileUtility(std::string applicationSupportDirectory);
  /// The support directory of the named application under the user's data directory.
  static std::string defaultApplicationSupportDirectory(const std::string& applicationName);
  /// The file that `path` names once symbolic links in its last component are followed (the path
  /// itself when it is no link, or a link to nothing yet); nothing, with `failure` set, when the
  /// links go round in a loop.
  static std::optional<std::string> resolvedPath(const std::string& path, std::string& failure);

  std::string applicationSupportDirectoryPath() override;
  bool fileExists(const std::string& path) override;
  platform::FileRead read(const std::string& path, std::size_t maximumSize) override;
  platform::FileChange write(const std::string& path, std::string_view content) override;
  platform::FileChange append(const std::string& path, std::string_view content) override;
  platform::FileChange keepAside(const std::string& path, const std::string& tag, std::size_t keep) override;
  /// A symbolic link at `path` is removed itself, not the file it names.
  platform::FileChange remove(const std::string& path) override;

 private:
  std::string _directory;
};

}  // namespace zar::native
