#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"

#include <fcntl.h>
#include <plist/plist.h>
#include <pthread.h>
#include <pwd.h>
#include <sched.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <limits>
#include <system_error>
#include <vector>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/PropertyListNesting.h"

namespace zar::native {

namespace fs = std::filesystem;
using platform::LogFlag;
using platform::PropertyArray;
using platform::PropertyData;
using platform::PropertyDictionary;
using platform::PropertyValue;

namespace {

std::string homeDirectory() {
  if (const char* home = std::getenv("HOME"); home != nullptr && home[0] == '/') {
    return home;
  }
  // Without a usable HOME the password database still knows where the user lives.
  long size = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(size > 0 ? static_cast<std::size_t>(size) : 16384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
      found->pw_dir != nullptr) {
    return found->pw_dir;
  }
  return "/tmp";
}

std::string utcTimestamp() {
  return fmt::format("{:%Y%m%dT%H%M%SZ}", fmt::gmtime(std::chrono::system_clock::to_time_t(
                                              std::chrono::system_clock::now())));
}

/// Renames without replacing an existing entry; EEXIST when `to` is taken.
bool renameNoReplace(const std::string& from, const std::string& to, int& error) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
    return true;
  }
  error = errno;
  if (error != EINVAL && error != ENOSYS) {
    return false;
  }
  // File systems without RENAME_NOREPLACE: a hard link fails on an existing name just the same.
  if (::link(from.c_str(), to.c_str()) != 0) {
    error = errno;
    return false;
  }
  ::unlink(from.c_str());
  return true;
}

/// The value of a node, or nothing when it (or anything inside it) has no PropertyValue form.
/// Recursive: `load` lets no tree deeper than `maximumNesting` reach it.
std::optional<PropertyValue> fromNode(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return PropertyValue(value != 0);
    }
    case PLIST_UINT: {
      // Negative integers are stored as their two's complement.
      std::uint64_t value = 0;
      plist_get_uint_val(node, &value);
      return PropertyValue(static_cast<std::int64_t>(value));
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return PropertyValue(value);
    }
    case PLIST_STRING: {
      std::uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return PropertyValue(text != nullptr ? std::string(text, length) : std::string());
    }
    case PLIST_DATA: {
      std::uint64_t length = 0;
      const char* bytes = plist_get_data_ptr(node, &length);
      const auto* first = reinterpret_cast<const std::uint8_t*>(bytes);
      return PropertyValue(bytes != nullptr ? PropertyData(first, first + length) : PropertyData());
    }
    case PLIST_ARRAY: {
      PropertyArray array;
      const std::uint32_t count = plist_array_get_size(node);
      array.reserve(count);
      for (std::uint32_t i = 0; i < count; ++i) {
        auto item = fromNode(plist_array_get_item(node, i));
        if (!item) return std::nullopt;
        array.push_back(std::move(*item));
      }
      return PropertyValue(std::move(array));
    }
    case PLIST_DICT: {
      PropertyDictionary dictionary;
      plist_dict_iter iterator = nullptr;
      plist_dict_new_iter(node, &iterator);
      bool representable = true;
      for (;;) {
        char* key = nullptr;
        plist_t item = nullptr;
        plist_dict_next_item(node, iterator, &key, &item);
        if (item == nullptr) {
          std::free(key);
          break;
        }
        auto value = fromNode(item);
        if (value) {
          dictionary.insert_or_assign(key != nullptr ? key : "", std::move(*value));
        } else {
          representable = false;
        }
        std::free(key);
        if (!representable) break;
      }
      std::free(iterator);
      if (!representable) return std::nullopt;
      return PropertyValue(std::move(dictionary));
    }
    default:
      return std::nullopt;
  }
}

/// Whether the value nests at most `depth` arrays and dictionaries deep; looks no deeper.
bool nestsWithin(const PropertyValue& value, std::size_t depth) {
  if (const auto* array = std::get_if<PropertyArray>(&value.storage)) {
    return depth > 0 && std::all_of(array->begin(), array->end(),
                                    [depth](const PropertyValue& item) { return nestsWithin(item, depth - 1); });
  }
  if (const auto* dictionary = std::get_if<PropertyDictionary>(&value.storage)) {
    return depth > 0 && std::all_of(dictionary->begin(), dictionary->end(),
                                    [depth](const auto& item) { return nestsWithin(item.second, depth - 1); });
  }
  return true;
}

plist_t toNode(const PropertyValue& value) {
  return std::visit(
      [](const auto& v) -> plist_t {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, bool>) {
          return plist_new_bool(v ? 1 : 0);
        } else if constexpr (std::is_same_v<T, std::int64_t>) {
          return plist_new_uint(static_cast<std::uint64_t>(v));
        } else if constexpr (std::is_same_v<T, double>) {
          return plist_new_real(v);
        } else if constexpr (std::is_same_v<T, std::string>) {
          return plist_new_string(v.c_str());
        } else if constexpr (std::is_same_v<T, PropertyData>) {
          return plist_new_data(reinterpret_cast<const char*>(v.data()), v.size());
        } else if constexpr (std::is_same_v<T, PropertyArray>) {
          plist_t array = plist_new_array();
          for (const auto& item : v) plist_array_append_item(array, toNode(item));
          return array;
        } else {
          plist_t dictionary = plist_new_dict();
          for (const auto& [key, item] : v) plist_dict_set_item(dictionary, key.c_str(), toNode(item));
          return dictionary;
        }
      },
      value.storage);
}

/// The stores that have a writer, with the process that made each. Never destroyed: a store held
/// for good (by the platform installed for the process's life) outlives static destruction.
struct LivePreferenceStores {
  std::mutex mutex;
  std::map<PlistUserDefaults*, pid_t> stores;
};

LivePreferenceStores& livePreferenceStores();

/// At exit, the last change of every store that is never destroyed reaches its file. A child
/// forked without exec has none of its parent's writers: it leaves their files to the parent.
void synchronizeLivePreferenceStores() {
  LivePreferenceStores& live = livePreferenceStores();
  const std::lock_guard lock(live.mutex);
  for (const auto& [store, process] : live.stores) {
    if (process == ::getpid()) store->synchronize();
  }
}

LivePreferenceStores& livePreferenceStores() {
  static LivePreferenceStores* const instance = [] {
    auto* made = new LivePreferenceStores;
    std::atexit(synchronizeLivePreferenceStores);
    return made;
  }();
  return *instance;
}

}  // namespace

void PlistUserDefaults::NodeDeleter::operator()(void* node) const { plist_free(node); }

PlistUserDefaults::PlistUserDefaults(std::optional<std::string> path, std::shared_ptr<platform::Logger> logger,
                                     std::shared_ptr<platform::FileUtility> files)
    : _path(std::move(path)),
      _logger(std::move(logger)),
      _files(files ? std::move(files) : std::make_shared<LocalFileUtility>(std::string())) {
  if (_path) {
    load(*_path);  // which may keep the domain in memory only
  }
  if (_path) {
    _inFile = _stored;
    _writer = std::thread([this] { writeChanges(); });
    LivePreferenceStores& live = livePreferenceStores();
    const std::lock_guard lock(live.mutex);
    live.stores.emplace(this, ::getpid());
  }
}

PlistUserDefaults::~PlistUserDefaults() {
  if (!_writer.joinable()) {
    return;
  }
  {
    LivePreferenceStores& live = livePreferenceStores();
    const std::lock_guard lock(live.mutex);
    live.stores.erase(this);
  }
  {
    const std::lock_guard lock(_mutex);
    _stopping = true;
  }
  _changed.notify_one();
  _writer.join();
}

std::string PlistUserDefaults::defaultPath(const std::string& bundleIdentifier) {
  std::string name = bundleIdentifier;
  std::replace(name.begin(), name.end(), '/', '_');
  name += ".plist";
  if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg != nullptr && xdg[0] == '/') {
    return (fs::path(xdg) / name).string();
  }
  return (fs::path(homeDirectory()) / ".config" / name).string();
}

void PlistUserDefaults::load(const std::string& path) {
  using Status = platform::FileRead::Status;
  const platform::FileRead file = _files->read(path, std::numeric_limits<std::uint32_t>::max());
  switch (file.status) {
    case Status::missing:
      return;
    case Status::notRegular:
      log(LogFlag::error, __func__, __LINE__,
          fmt::format("Preferences file {} is not a regular file; preferences are kept in memory only and it is "
                      "left as it is",
                      path));
      _path.reset();
      return;
    case Status::tooLarge:
      setAside(path, "is too large");
      return;
    case Status::failed:
      setAside(path, fmt::format("can't be read ({})", file.failure));
      return;
    case Status::read:
      break;
  }
  const std::string& content = file.content;
  switch (propertyListNesting(content, maximumNesting)) {
    case PropertyListNesting::tooDeep:
      setAside(path, fmt::format("nests deeper than {} levels", maximumNesting));
      return;
    case PropertyListNesting::unreadable:
      setAside(path, "is not a property list");
      return;
    case PropertyListNesting::within:
      break;
  }
  plist_t parsed = nullptr;
  if (!content.empty()) {
    plist_from_memory(content.data(), static_cast<std::uint32_t>(content.size()), &parsed);
  }
  const Node root(parsed);
  if (!root) {
    setAside(path, "is not a property list");
    return;
  }
  if (plist_get_node_type(root.get()) != PLIST_DICT) {
    setAside(path, "does not hold a dictionary");
    return;
  }

  plist_dict_iter iterator = nullptr;
  plist_dict_new_iter(root.get(), &iterator);
  for (;;) {
    char* key = nullptr;
    plist_t item = nullptr;
    plist_dict_next_item(root.get(), iterator, &key, &item);
    if (item == nullptr) {
      std::free(key);
      break;
    }
    const std::string name = key != nullptr ? key : "";
    std::free(key);
    if (auto value = fromNode(item)) {
      _stored.insert_or_assign(name, std::make_shared<const PropertyValue>(std::move(*value)));
    } else {
      log(LogFlag::warning, __func__, __LINE__,
          fmt::format("Preference \"{}\" in {} holds a date or uid; it is kept in the file but can't be read", name,
                      path));
      _unrepresentable.insert_or_assign(name, Node(plist_copy(item)));
    }
  }
  std::free(iterator);
}

void PlistUserDefaults::setAside(const std::string& path, const std::string& reason) {
  // A link stays where it is; the file it names is what goes aside.
  std::string failure;
  const std::string target = LocalFileUtility::resolvedPath(path, failure).value_or(path);
  const std::string base = target + ".corrupt-" + utcTimestamp();
  int error = 0;
  for (int attempt = 1; attempt <= 100; ++attempt) {
    const std::string aside = attempt == 1 ? base : fmt::format("{}-{}", base, attempt);
    if (renameNoReplace(target, aside, error)) {
      log(LogFlag::error, __func__, __LINE__, fmt::format("Preferences file {} {}; moved it to {} and started with empty preferences",
                                      path, reason, aside));
      return;
    }
    if (error != EEXIST) break;
  }
  log(LogFlag::error, __func__, __LINE__, fmt::format("Preferences file {} {} and can't be moved aside ({}); preferences are kept "
                                  "in memory only and the file is left as it is",
                                  path, reason, std::strerror(error)));
  _path.reset();
}

void PlistUserDefaults::registerDefaults(const PropertyDictionary& defaults) {
  const std::lock_guard lock(_mutex);
  for (const auto& [key, value] : defaults) {
    _registered.insert_or_assign(key, value);
  }
}

std::optional<PropertyValue> PlistUserDefaults::objectForKey(const std::string& key) const {
  std::shared_ptr<const PropertyValue> stored;
  {
    const std::lock_guard lock(_mutex);
    if (const auto found = _stored.find(key); found != _stored.end()) {
      stored = found->second;
    } else if (const auto registered = _registered.find(key); registered != _registered.end()) {
      return registered->second;
    } else {
      return std::nullopt;
    }
  }
  return *stored;  // copied outside the lock: a large value holds up no other thread
}

void PlistUserDefaults::setObject(const std::string& key, PropertyValue value) {
  if (!nestsWithin(value, maximumNesting - 1)) {
    log(LogFlag::error, __func__, __LINE__,
        fmt::format("Preference \"{}\" is not stored: it nests deeper than the file may ({} levels)", key,
                    maximumNesting));
    return;
  }
  change(key, std::make_shared<const PropertyValue>(std::move(value)));
}

void PlistUserDefaults::removeObjectForKey(const std::string& key) { change(key, nullptr); }

void PlistUserDefaults::change(const std::string& key, std::shared_ptr<const PropertyValue> value) {
  // Values let go of here are released after the lock: freeing a large one holds up nobody.
  std::shared_ptr<const PropertyValue> replaced;
  std::shared_ptr<const PropertyValue> superseded;
  {
    const std::lock_guard lock(_mutex);
    if (value) {
      replaced = std::exchange(_stored[key], value);
    } else if (const auto stored = _stored.find(key); stored != _stored.end()) {
      replaced = std::move(stored->second);
      _stored.erase(stored);
    }
    if (!_path) {
      return;
    }
    // Even a key that isn't stored is written as removed: the file may hold it as a date.
    superseded = std::exchange(_pending[key], std::move(value));
    ++_generation;
  }
  _changed.notify_one();
}

bool PlistUserDefaults::synchronize() {
  if (!_path) {
    return false;
  }
  std::unique_lock lock(_mutex);
  if (_writtenGeneration == _generation) {
    return true;
  }
  if (_pending.empty() && _attemptedGeneration == _generation) {
    // The last write failed and nothing has changed since: try once more.
    ++_generation;
    _writeAgain = true;
    _changed.notify_one();
  }
  const std::uint64_t generation = _generation;
  _written.wait(lock, [&] { return _attemptedGeneration >= generation; });
  return _writtenGeneration >= generation;
}

void PlistUserDefaults::writeChanges() {
  // A batch thread never takes the processor from the thread that wakes it: otherwise, on a busy
  // machine, the storing thread waited milliseconds for the writer's serialisation to yield. Where
  // the policy is refused, the writer runs as any other thread.
  const sched_param batch{};
  ::pthread_setschedparam(::pthread_self(), SCHED_BATCH, &batch);
  std::unique_lock lock(_mutex);
  for (;;) {
    _changed.wait(lock, [this] { return !_pending.empty() || _writeAgain || _stopping; });
    if (_pending.empty() && !_writeAgain) {
      return;  // stopping, with everything written
    }
    Values changes = std::exchange(_pending, {});
    const std::uint64_t generation = _generation;
    _writeAgain = false;
    lock.unlock();
    for (auto& [key, value] : changes) {
      _unrepresentable.erase(key);
      if (value) {
        _inFile.insert_or_assign(key, std::move(value));
      } else {
        _inFile.erase(key);
      }
    }
    changes.clear();
    const bool written = writeFile();
    lock.lock();
    _attemptedGeneration = generation;
    if (written) {
      _writtenGeneration = generation;
    }
    _written.notify_all();
  }
}

bool PlistUserDefaults::writeFile() {
  const fs::path target(*_path);
  std::error_code error;
  if (target.has_parent_path()) {
    fs::create_directories(target.parent_path(), error);
  }
  platform::FileChange written;
  try {
    const std::string xml = serialize();
    written = xml.empty() ? platform::FileChange{false, {}, "libplist made no XML of it"} : _files->write(*_path, xml);
  } catch (const std::exception& failure) {  // memory for the text of a large domain, say
    written.failure = failure.what();
  }
  if (!written.done) {
    // Once for a run of failures: every change writes, and the log would fill with the same.
    if (!_writeFailing) {
      _writeFailing = true;
      log(LogFlag::error, __func__, __LINE__,
          fmt::format("Can't write preferences file {}: {}; the preferences are kept in memory and written at the "
                      "next change",
                      *_path, written.failure));
    }
    return false;
  }
  if (_writeFailing) {
    _writeFailing = false;
    log(LogFlag::warning, __func__, __LINE__, fmt::format("Preferences file {} is written again", *_path));
  }
  return true;
}

std::string PlistUserDefaults::serialize() const {
  const Node root(plist_new_dict());
  for (const auto& [key, node] : _unrepresentable) {
    plist_dict_set_item(root.get(), key.c_str(), plist_copy(node.get()));
  }
  for (const auto& [key, value] : _inFile) {
    plist_dict_set_item(root.get(), key.c_str(), toNode(*value));
  }
  char* text = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(root.get(), &text, &length);
  std::string xml = text != nullptr ? std::string(text, length) : std::string();
  plist_to_xml_free(text);
  return xml;
}

void PlistUserDefaults::log(LogFlag flag, const char* function, int line, std::string message) const {
  if (_logger && platform::logFlagEnabled(flag)) {
    _logger->log(flag, __FILE__, function, line, std::move(message));
  }
}

}  // namespace zar::native
