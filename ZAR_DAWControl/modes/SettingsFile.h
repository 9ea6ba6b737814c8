#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ZAR_DAWControl/modes/ZAR_DAWSettingsFileStatus.h"

namespace zar::platform {
class FileUtility;
}  // namespace zar::platform

namespace google::protobuf {
class MessageLite;
}  // namespace google::protobuf

namespace zar::modes {

/// One settings file in the host's application support directory, reached through the current
/// platform's file utility. The path is worked out anew at every use, so a platform installed
/// later (or a support directory that moves) is honoured. Without a file utility there is no file:
/// nothing is read and writes go nowhere.
///
/// Nothing the user had is lost:
/// - Every save first writes a copy of the content beside the file, `<name>.last-saved` (see
///   `SavedCopy`). At the next read, a file that is not what that copy holds (cut, changed, gone)
///   is damaged even when it parses. A file with no copy beside it (one from another machine or
///   another program) is read as it is. The copy is written before the file; when either write
///   fails, the copy is removed, so that it never names content the file doesn't hold.
/// - A damaged file (not what was last saved, unparsable, too large, unreadable) is not used, left
///   in place, and kept aside at once as `<name>.<tag>-<time>`: `damaged` when it differs from the
///   last save, `unreadable` otherwise. The copy of the last save is kept as
///   `<name>.last-saved.kept-<time>`, since the next save replaces it. The newest `keptCopies` of
///   each stay, and keeping the same file at every start makes no new copy. A copy that can't be
///   made now is made before the first write over the file; if it can't be made then, nothing is
///   written over it.
/// - A failed write leaves the old file whole.
/// Each is logged at error level with the path and told to the host with
/// "ZAR_DAWSettingsFileStatus": a failing write once, until a write works again (told too).
/// Something that isn't a regular file (a FIFO, a device) is neither read nor replaced.
class SettingsFile {
 public:
  /// Content above this size is not taken as a settings message: no real file comes near it (a
  /// thousand modes take about 50 KB), and refusing it keeps a stray huge file from being
  /// expanded into memory as millions of modes.
  static constexpr std::size_t maximumSize = std::size_t{16} << 20;
  static constexpr std::size_t keptCopies = 3;

  /// What a read found.
  enum class Loaded {
    missing,  ///< no file: the message is empty
    taken,    ///< the message holds the file's content
    refused,  ///< the file is there but its content is not used: the message is empty
  };

  /// While one lives on a thread, what settings files find on that thread is held and posted when
  /// it ends: for a reader that holds a lock an observer may need (the shared manager's set-up).
  class HeldStatuses {
   public:
    HeldStatuses();
    ~HeldStatuses();
    HeldStatuses(const HeldStatuses&) = delete;
    HeldStatuses& operator=(const HeldStatuses&) = delete;

   private:
    std::vector<ZAR_DAWSettingsFileStatus> _held;
    bool _holding;
  };

  explicit SettingsFile(std::string fileName);
  SettingsFile(const SettingsFile&) = delete;
  SettingsFile& operator=(const SettingsFile&) = delete;

  /// The full path, or nothing without a file utility.
  std::optional<std::string> path() const;
  /// Fills `message` from the file (see above); `what` names the expected content for the log
  /// ("a mode list").
  Loaded readInto(google::protobuf::MessageLite& message, std::string_view what) const;
  /// Keeps the file, as it was read, aside as `<name>.<tag>-<time>` now (or before the first write
  /// over it, if it can't be now) and tells the host `event` with `description`: for content that
  /// parsed but can't all be used.
  void keepAsideAsRead(const std::string& tag, ZAR_DAWSettingsFileStatus::Event event,
                       const std::string& description) const;
  /// Replaces the file atomically (keeping a damaged one aside first); false when it was not
  /// written.
  bool write(std::string_view content) const;
  /// What still holds of what the host was told: what was found at the read, and the failing
  /// write while writes fail.
  std::vector<ZAR_DAWSettingsFileStatus> standingStatuses() const;

 private:
  using Statuses = std::vector<ZAR_DAWSettingsFileStatus>;
  /// Records what was found at the read, to be posted once the lock is released.
  void found(ZAR_DAWSettingsFileStatus status, Statuses& toPost) const;
  /// `tag` empty: the file is missing, so there is nothing to keep aside.
  void foundDamaged(platform::FileUtility& files, const std::string& path, const std::string& tag,
                    const std::string& problem, bool lastSavedExists, Statuses& toPost) const;
  void writeFailed(const std::string& path, const std::string& failure, Statuses& toPost) const;

  const std::string _fileName;
  mutable std::mutex _mutex;
  /// The tag to keep the file aside with before the next write, when that couldn't be done at once.
  mutable std::optional<std::string> _keepAsideBeforeWriting;
  mutable bool _keepLastSavedBeforeWriting = false;
  mutable bool _writeFailing = false;
  mutable std::optional<ZAR_DAWSettingsFileStatus> _found;
  mutable std::optional<ZAR_DAWSettingsFileStatus> _failing;
};

}  // namespace zar::modes
