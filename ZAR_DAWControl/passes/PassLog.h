#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/passes/ZAR_DAWPassRecord.h"
#include "ZAR_DAWControl/platform/FileUtility.h"

namespace zar::passes {

/// The passes kept on disk for `dawctl takes`: "PassLog.jsonl" in the host's application support
/// directory, beside the settings files, one JSON line per pass (`ZAR_DAWPassRecord::toJSONLine`),
/// oldest first, the last `kKeptPasses` of them.
///
/// Records are handed over on any thread and written by a thread of the log's own: one append,
/// flushed to disk, per pass, so a pass never waits for the disk, and a host that dies loses the
/// pass in progress and at most the one being written. Once a tenth more than `kKeptPasses` passes
/// are in the file it is cut back to `kKeptPasses` by one atomic rewrite.
///
/// The file is looked at before the first write of a run. A last line cut off (the host died while
/// it was written) is dropped. A file holding any other line that is no record, or too large to
/// read, or unreadable, is kept aside as "PassLog.jsonl.damaged-<time>" and the log goes on with
/// the records that were whole. Something else at the path (a directory, a FIFO, a device) is never
/// written: the log is off for the run, and says so once. A failed append (a full disk) is logged
/// once per run of failures and that record is not kept on disk (it stays among the black box's
/// recent passes); the first append that works again says so.
class PassLog {
 public:
  static constexpr const char* kFileName = "PassLog.jsonl";
  static constexpr std::size_t kKeptPasses = 500;
  /// A larger file is not read: far beyond `kKeptPasses` passes of a 64-track session.
  static constexpr std::size_t kMaximumFileSize = std::size_t{512} << 20;
  /// Copies of damaged files kept beside it.
  static constexpr std::size_t kKeptDamagedCopies = 5;

  /// What a log file holds.
  struct Contents {
    platform::FileRead::Status status = platform::FileRead::Status::missing;
    /// Why the file couldn't be read; empty when it was.
    std::string failure;
    /// The records, oldest first.
    std::vector<ZAR_DAWPassRecord> records;
    /// Their lines as they stand in the file.
    std::vector<std::string> lines;
    /// Lines that hold no record, a last line cut off excepted.
    std::size_t damagedLines = 0;
    /// The last line ends without a line feed: the host died while writing it.
    bool lastLineCutOff = false;
  };

  /// Reads the log at `path`. Any thread.
  static Contents read(platform::FileUtility& files, const std::string& path);

  /// `keptPasses` other than `kKeptPasses` for tests; the slack is a tenth of it.
  PassLog(std::shared_ptr<platform::FileUtility> files, std::string path, std::size_t keptPasses = kKeptPasses);
  /// Writes what waits, then stops.
  ~PassLog();
  PassLog(const PassLog&) = delete;
  PassLog& operator=(const PassLog&) = delete;

  const std::string& path() const { return _path; }
  /// Hands the record over for writing and returns at once. Any thread.
  void append(std::shared_ptr<const ZAR_DAWPassRecord> record);
  /// Returns once everything handed over before has been written, or has failed. Any thread.
  void flush();

 private:
  void run();
  /// Looks at the file before the first write; false when the log is off for the run.
  bool open();
  void write(const ZAR_DAWPassRecord& record);
  /// The lines the file may hold before it is cut back.
  std::size_t mostLines() const;
  /// Rewrites the file with its last `kKeptPasses` lines.
  void cutBack();

  const std::shared_ptr<platform::FileUtility> _files;
  const std::string _path;
  const std::size_t _keptPasses;

  std::mutex _mutex;
  std::condition_variable _changed;
  std::deque<std::shared_ptr<const ZAR_DAWPassRecord>> _waiting;
  std::uint64_t _handedOver = 0;
  std::uint64_t _done = 0;
  bool _stopping = false;
  std::thread _writer;

  // The writer's own.
  std::optional<bool> _usable;
  std::size_t _lines = 0;
  bool _failing = false;
};

}  // namespace zar::passes
