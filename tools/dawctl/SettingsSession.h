#pragma once

#include <map>
#include <memory>
#include <string>

#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"

namespace dawctl {

/// Prints one line on stderr and ends the command with `exitCode` (by default: the command line
/// is wrong).
[[noreturn]] void failSettingsCommand(const std::string& message, int exitCode = 2);

/// The mode list and the matrix of one settings directory, opened as the framework opens them but
/// on copies of the files in memory. Nothing reaches the directory before `commit`, so a command
/// that is refused half way (unknown mode, track out of range) leaves the files exactly as they
/// were, even on a first start. A file that exists but cannot be read or does not parse refuses
/// the command rather than being overwritten.
class SettingsSession {
 public:
  /// An empty `directory` means the host's application support directory; another must exist.
  explicit SettingsSession(const std::string& directory);

  /// The mode that `text` names: `none` (when allowed), a uuid, or the name of exactly one mode.
  std::shared_ptr<ZAR_DAWAudioTrackMode> resolve(const std::string& text, bool allowNone) const;
  /// Writes every file that the session made or changed to the directory.
  void commit();
  std::string path(const char* fileName) const;

  std::shared_ptr<ZAR_DAWAudioTrackModeList> list;
  std::unique_ptr<ZAR_DAWMuteRecMatrix> matrix;

 private:
  template <typename Message>
  void load(const char* fileName, const char* what);

  const std::string _directory;
  zar::native::LocalFileUtility _disk;
  std::shared_ptr<zar::sim::MemoryFileUtility> _memory;
  std::map<std::string, std::string> _original;
};

}  // namespace dawctl
