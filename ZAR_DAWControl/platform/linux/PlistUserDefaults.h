#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "ZAR_DAWControl/platform/Logger.h"
#include "ZAR_DAWControl/platform/UserDefaults.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"

namespace zar::native {

/// Preferences kept in one property-list file (read as XML or binary, written as XML).
///
/// The file is read once, at construction; every change rewrites it whole and atomically. A file
/// that can't be read or parsed, or nests deeper than `maximumNesting`, is moved aside (never
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

  /// `path` nothing: a domain in memory only. `logger` may be null.
  PlistUserDefaults(std::optional<std::string> path, std::shared_ptr<platform::Logger> logger);
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

  /// The file the domain persists to; nothing when it is kept in memory only.
  const std::optional<std::string>& path() const { return _path; }

 private:
  struct NodeDeleter {
    void operator()(void* node) const;
  };
  /// A libplist node owned here.
  using Node = std::unique_ptr<void, NodeDeleter>;

  void load(const std::string& path);
  void setAside(const std::string& path, const std::string& reason);
  /// Makes the XML text of the whole domain; called with `_mutex` held.
  std::string serialize() const;
  /// Writes `xml` unless a newer generation of the domain has been written already.
  void write(std::uint64_t generation, const std::string& xml);
  /// Logs through the logger given at construction (the platform may not be installed yet).
  void log(platform::LogFlag flag, const char* function, int line, std::string message) const;

  std::optional<std::string> _path;
  std::shared_ptr<platform::Logger> _logger;
  LocalFileUtility _files;

  mutable std::mutex _mutex;
  platform::PropertyDictionary _registered;
  platform::PropertyDictionary _stored;
  std::map<std::string, Node> _unrepresentable;
  std::uint64_t _generation = 0;

  std::mutex _writeMutex;
  std::uint64_t _writtenGeneration = 0;
};

}  // namespace zar::native
