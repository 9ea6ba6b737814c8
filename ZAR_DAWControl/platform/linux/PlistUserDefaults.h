#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "ZAR_DAWControl/platform/FileUtility.h"
#include "ZAR_DAWControl/platform/Logger.h"
#include "ZAR_DAWControl/platform/UserDefaults.h"

namespace zar::native {

/// Preferences kept in one property-list file (read as XML or binary, written as XML).
///
/// The file is read once, at construction. A change is made in memory at once, where any thread
/// reads it at once, and written to the file soon after by a thread of the store's own: the whole
/// domain, atomically. The storing thread neither serialises nor writes: its cost doesn't grow with
/// the domain, only the writer's does. Changes that come while a write is under way are written
/// together by the next one. `synchronize` waits for the file; the
/// destructor waits for the last change's write, and so does the process's exit for a store never
/// destroyed (the one held by the platform installed for good). A write that fails is logged at
/// error level once for a run of failures, and at warning level when a write works again; the
/// values stay in memory and are written with the next change.
///
/// A file that can't be read or parsed, or nests deeper than `maximumNesting`, is moved aside (never
/// overwritten) and the domain starts empty; if it can't be moved, the domain stays in memory for
/// this process. So does a domain whose path names something other than a regular file (a FIFO,
/// a device), which is never opened for long nor replaced. A symbolic link stays a link: the file
/// it names is read, replaced, or moved aside. Values of property-list types that have no
/// `PropertyValue` form (dates, uids) are hidden from reads but written back as they were, unless
/// their key is set or removed.
class PlistUserDefaults final : public platform::UserDefaults {
 public:
  /// The deepest nesting of arrays and dictionaries taken, the file's root dictionary included:
  /// far beyond any real preference, and shallow enough for any thread's stack. `setObject`
  /// refuses (and logs) a value that would nest deeper in the file.
  static constexpr std::size_t maximumNesting = 128;

  /// `path` nothing: a domain in memory only. `logger` may be null. The file is read and written
  /// through `files`; nothing: the local file system.
  PlistUserDefaults(std::optional<std::string> path, std::shared_ptr<platform::Logger> logger,
                    std::shared_ptr<platform::FileUtility> files = nullptr);
  /// Waits until the last change has been written (or its write failed).
  ~PlistUserDefaults() override;
  PlistUserDefaults(const PlistUserDefaults&) = delete;
  PlistUserDefaults& operator=(const PlistUserDefaults&) = delete;

  /// `$XDG_CONFIG_HOME/<id>.plist` when that variable holds an absolute path, else
  /// `~/.config/<id>.plist`. A slash in the identifier becomes an underscore.
  static std::string defaultPath(const std::string& bundleIdentifier);

  void registerDefaults(const platform::PropertyDictionary& defaults) override;
  std::optional<platform::PropertyValue> objectForKey(const std::string& key) const override;
  void setObject(const std::string& key, platform::PropertyValue value) override;
  void removeObjectForKey(const std::string& key) override;
  /// After a failed write with no change since, writes once more.
  bool synchronize() override;

  /// The file the domain persists to; nothing when it is kept in memory only.
  const std::optional<std::string>& path() const { return _path; }

 private:
  struct NodeDeleter {
    void operator()(void* node) const;
  };
  /// A libplist node owned here.
  using Node = std::unique_ptr<void, NodeDeleter>;
  /// Values are shared, never changed: the writer's copy of the domain costs a pointer a key.
  using Values = std::map<std::string, std::shared_ptr<const platform::PropertyValue>>;

  void load(const std::string& path);
  void setAside(const std::string& path, const std::string& reason);
  /// Stores `value` under `key`, or removes the key when it is null, and wakes the writer.
  void change(const std::string& key, std::shared_ptr<const platform::PropertyValue> value);
  /// The writer thread: takes the changes made since its last write and writes them, until the
  /// store is destroyed and nothing is left to write.
  void writeChanges();
  /// Writes the writer's copy of the domain; whether the file holds it.
  bool writeFile();
  /// The XML text of the writer's copy of the domain.
  std::string serialize() const;
  /// Logs through the logger given at construction (the platform may not be installed yet).
  void log(platform::LogFlag flag, const char* function, int line, std::string message) const;

  std::optional<std::string> _path;
  std::shared_ptr<platform::Logger> _logger;
  std::shared_ptr<platform::FileUtility> _files;

  mutable std::mutex _mutex;
  platform::PropertyDictionary _registered;
  Values _stored;
  /// Changes the writer hasn't taken yet; a null value is a removed key.
  Values _pending;
  /// Counts changes (and requests to write again); the file holds `_writtenGeneration`.
  std::uint64_t _generation = 0;
  std::uint64_t _attemptedGeneration = 0;
  std::uint64_t _writtenGeneration = 0;
  bool _writeAgain = false;
  bool _stopping = false;
  std::condition_variable _changed;
  std::condition_variable _written;

  // The writer's own (filled before it starts): what the file is to hold.
  Values _inFile;
  std::map<std::string, Node> _unrepresentable;
  bool _writeFailing = false;

  std::thread _writer;
};

}  // namespace zar::native
