#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace google::protobuf {
class MessageLite;
}  // namespace google::protobuf

namespace zar::modes {

/// One settings file in the host's application support directory, reached through the current
/// platform's file utility. The path is worked out anew at every use, so a platform installed
/// later (or a support directory that moves) is honoured. Without a file utility there is no file:
/// nothing is read and writes go nowhere.
///
/// Nothing the user had is lost. A file that is there but whose content isn't taken (it doesn't
/// parse, is too large or can't be read) is left as it is and, before it is first written over,
/// kept aside beside it as `<name>.unreadable-<time>`; the newest `keptUnreadableCopies` such
/// copies stay. If no copy can be made, the file is not written over. A failed write leaves the
/// old file whole. Each is logged at error level with the path; a failing write once, until a
/// write succeeds again (which is logged as a warning). Something that isn't a regular file (a
/// FIFO, a device) is neither read nor replaced.
class SettingsFile {
 public:
  /// Content above this size is not taken as a settings message: no real file comes near it (a
  /// thousand modes take about 50 KB), and refusing it keeps a stray huge file from being
  /// expanded into memory as millions of modes.
  static constexpr std::size_t maximumSize = std::size_t{16} << 20;
  static constexpr std::size_t keptUnreadableCopies = 3;

  explicit SettingsFile(std::string fileName);
  SettingsFile(const SettingsFile&) = delete;
  SettingsFile& operator=(const SettingsFile&) = delete;

  /// The full path, or nothing without a file utility.
  std::optional<std::string> path() const;
  bool exists() const;
  /// Fills `message` from the file; a missing file reads as empty content. False when the content
  /// is not taken (see above); `what` names the expected content for the log ("a mode list").
  bool readInto(google::protobuf::MessageLite& message, std::string_view what) const;
  /// Replaces the file atomically (keeping an unreadable one aside first); false when it was not
  /// written.
  bool write(std::string_view content) const;

 private:
  void logWriteFailure(const std::string& path, const std::string& failure) const;

  const std::string _fileName;
  mutable std::mutex _mutex;
  mutable bool _keepAsideBeforeWriting = false;
  mutable bool _writeFailing = false;
};

}  // namespace zar::modes
