#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"

namespace dawctl {

/// Prints one line on stderr and ends the command with `exitCode` (by default: the command line
/// is wrong).
[[noreturn]] void failSettingsCommand(const std::string& message, int exitCode = 2);

/// The settings directory a command works on: the one given, or the host's application support
/// directory.
std::string settingsDirectory(const std::string& directory);

/// The mode list and the matrix of one settings directory, opened as the framework opens them but
/// on copies of the files (and of the copies of their last saves) in memory. Nothing reaches the
/// directory before `commit`, so a command that is refused half way (unknown mode, track out of
/// range) leaves the files exactly as they were, even on a first start. A file that the framework
/// finds damaged (it can't be read, does not parse, or is not what was last saved there) refuses
/// the command rather than being overwritten; `dawctl settings status` tells more.
class SettingsSession {
 public:
  /// An empty `directory` means the host's application support directory; another must exist.
  explicit SettingsSession(const std::string& directory);

  /// The mode that `text` names: `none` (when allowed), a uuid, or the name of exactly one mode.
  std::shared_ptr<ZAR_DAWAudioTrackMode> resolve(const std::string& text, bool allowNone) const;
  /// Writes every file that the session made or changed to the directory, each with the copy of
  /// its save, after keeping aside on disk what the framework kept aside in memory.
  void commit();
  std::string path(const char* fileName) const;

  std::shared_ptr<ZAR_DAWAudioTrackModeList> list;
  std::unique_ptr<ZAR_DAWMuteRecMatrix> matrix;

 private:
  void load(const std::string& where);

  const std::string _directory;
  zar::native::LocalFileUtility _disk;
  std::shared_ptr<zar::sim::MemoryFileUtility> _memory;
  std::map<std::string, std::string> _original;
  /// What the framework kept aside in memory as the files were read: the file and the copy's tag.
  std::vector<std::pair<std::string, std::string>> _keptAside;
};

}  // namespace dawctl
