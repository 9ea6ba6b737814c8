#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace zar::platform {

/// What reading a file gave.
struct FileRead {
  enum class Status {
    read,         ///< `content` holds the whole file
    missing,      ///< nothing at the path
    notRegular,   ///< a FIFO, device, socket or directory: refused without waiting for it
    tooLarge,     ///< larger than the caller's limit: not read
    failed,       ///< there is a file, but it can't be read
  };
  Status status = Status::missing;
  std::string content;
  /// Why there is no content, in words for the log; empty when read.
  std::string failure;
};

/// What a change on disk gave: done, or why not (in words for the log).
struct FileChange {
  bool done = false;
  /// The entry made, where the change makes one (the kept copy of `keepAside`).
  std::string path;
  std::string failure;
};

/// Files of the host application.
///
/// Paths given may be symbolic links; a link stays a link: reads and writes reach the file it
/// names, and a copy kept aside lies next to that file.
class FileUtility {
 public:
  virtual ~FileUtility() = default;
  /// The host's application support directory; made (with its parents) when missing.
  virtual std::string applicationSupportDirectoryPath() = 0;
  virtual bool fileExists(const std::string& path) = 0;
  /// Reads a regular file whole, if it holds at most `maximumSize` bytes. Opening never waits
  /// (a FIFO without a writer doesn't hang the caller), and nothing but a regular file is read.
  virtual FileRead read(const std::string& path, std::size_t maximumSize) = 0;
  /// Writes the whole content to a temporary file in the same directory, flushes it to disk and
  /// renames it over `path`. A reader sees the old or the new file, never a part; on failure the
  /// old file is left as it was and no temporary file stays behind. Something at `path` that
  /// isn't a regular file is never replaced.
  virtual FileChange write(const std::string& path, std::string_view content) = 0;
  /// Adds `content` at the end of the regular file at `path` (made when nothing is there) and
  /// flushes it to disk before returning. Something at `path` that isn't a regular file is
  /// refused without waiting for it; a failed append leaves the file as long as it was.
  virtual FileChange append(const std::string& path, std::string_view content) = 0;
  /// Keeps the file at `path`, as it is now, under a new name beside it:
  /// `<name>.<tag>-<UTC time>` (with `-2`, `-3` ... when that is taken), so that a later write
  /// over `path` can't lose it. Of the copies with this tag, only the newest `keep` stay. When the
  /// newest copy with this tag already holds the file as it is now, no other is made and that copy
  /// is the result: keeping the same file aside at every start fills no folder.
  virtual FileChange keepAside(const std::string& path, const std::string& tag, std::size_t keep) = 0;
  /// Removes the regular file at `path`; done when nothing is there afterwards. Anything else at
  /// the path (a directory, a FIFO) is left and the removal fails.
  virtual FileChange remove(const std::string& path) = 0;

  /// The whole regular file, or nothing when it can't be read.
  std::optional<std::string> readFile(const std::string& path) {
    FileRead result = read(path, std::numeric_limits<std::size_t>::max());
    if (result.status != FileRead::Status::read) return std::nullopt;
    return std::move(result.content);
  }
  /// `write`, telling only whether it worked.
  bool writeFileAtomically(const std::string& path, std::string_view content) { return write(path, content).done; }
};

}  // namespace zar::platform
