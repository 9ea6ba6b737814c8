#include "ZAR_DAWControl/modes/SettingsFile.h"

#include <google/protobuf/message_lite.h>

#include <filesystem>
#include <memory>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/SavedCopy.h"
#include "ZAR_DAWControl/passes/BlackBox.h"
#include "ZAR_DAWControl/platform/Log.h"
#include "ZAR_DAWControl/platform/Platform.h"

namespace zar::modes {

namespace {

using platform::FileRead;
using Event = ZAR_DAWSettingsFileStatus::Event;

std::shared_ptr<platform::FileUtility> currentFiles() { return platform::Platform::current()->fileUtility; }

std::string pathIn(platform::FileUtility& files, const std::string& fileName) {
  return (std::filesystem::path(files.applicationSupportDirectoryPath()) / fileName).string();
}

std::string lastSavedPath(const std::string& path) { return path + std::string(SavedCopy::suffix); }

/// The statuses held on this thread, if any (see `SettingsFile::HeldStatuses`).
thread_local std::vector<ZAR_DAWSettingsFileStatus>* heldStatuses = nullptr;

void post(const std::vector<ZAR_DAWSettingsFileStatus>& statuses) {
  if (statuses.empty()) return;
  if (heldStatuses != nullptr) {
    heldStatuses->insert(heldStatuses->end(), statuses.begin(), statuses.end());
    return;
  }
  const auto center = platform::Platform::current()->notificationCenter;
  if (!center) return;
  for (const auto& status : statuses) {
    passes::BlackBox::shared().notification(ZAR_DAWSettingsFileStatusNotification);
    center->post(ZAR_DAWSettingsFileStatusNotification, status);
  }
}

/// The copy of the last save beside `path`, when there is an intact one.
std::optional<SavedCopy> lastSaved(platform::FileUtility& files, const std::string& path) {
  const std::string where = lastSavedPath(path);
  const FileRead read = files.read(where, SettingsFile::maximumSize + 1024);
  if (read.status == FileRead::Status::missing) return std::nullopt;
  std::optional<SavedCopy> copy;
  if (read.status == FileRead::Status::read) copy = SavedCopy::decode(read.content);
  if (!copy) {
    ZAR_LOG_WARN("The copy of the last save of {} ({}) is damaged; the file is read as it is, and the copy is replaced "
                 "at the next save",
                 path, where);
  }
  return copy;
}

void removeLastSaved(platform::FileUtility& files, const std::string& path) {
  if (const platform::FileChange removed = files.remove(lastSavedPath(path)); !removed.done) {
    ZAR_LOG_ERROR("The copy of the last save of {} can be neither written nor removed ({})", path, removed.failure);
  }
}

}  // namespace

// Nested holds post with the outermost one.
SettingsFile::HeldStatuses::HeldStatuses() : _holding(heldStatuses == nullptr) {
  if (_holding) heldStatuses = &_held;
}

SettingsFile::HeldStatuses::~HeldStatuses() {
  if (!_holding) return;
  heldStatuses = nullptr;
  post(_held);
}

SettingsFile::SettingsFile(std::string fileName) : _fileName(std::move(fileName)) {}

std::optional<std::string> SettingsFile::path() const {
  const auto files = currentFiles();
  if (!files) {
    return std::nullopt;
  }
  return pathIn(*files, _fileName);
}

SettingsFile::Loaded SettingsFile::readInto(google::protobuf::MessageLite& message, std::string_view what) const {
  message.Clear();
  const auto files = currentFiles();
  if (!files) {
    return Loaded::missing;
  }
  const std::string where = pathIn(*files, _fileName);
  const FileRead file = files->read(where, maximumSize);
  const std::optional<SavedCopy> saved = lastSaved(*files, where);
  Statuses toPost;
  Loaded loaded = Loaded::refused;
  {
    const std::lock_guard lock(_mutex);
    _found.reset();
    switch (file.status) {
      case FileRead::Status::missing:
        if (saved) {
          foundDamaged(*files, where, {}, "is missing", true, toPost);
        }
        loaded = Loaded::missing;
        break;
      case FileRead::Status::notRegular:
        ZAR_LOG_ERROR("Settings file {} is not a regular file; it is ignored and not written over", where);
        break;
      case FileRead::Status::tooLarge:
        foundDamaged(*files, where, "unreadable", "is too large to be " + std::string(what), saved.has_value(), toPost);
        break;
      case FileRead::Status::failed:
        foundDamaged(*files, where, "unreadable", "can't be read (" + file.failure + ")", saved.has_value(), toPost);
        break;
      case FileRead::Status::read:
        if (saved && saved->content != file.content) {
          foundDamaged(*files, where, "damaged",
                       fmt::format("is not what was last saved there (its {} bytes differ from the {} saved)",
                                   file.content.size(), saved->content.size()),
                       true, toPost);
        } else if (!message.ParseFromString(file.content)) {
          foundDamaged(*files, where, "unreadable", "does not hold " + std::string(what), saved.has_value(), toPost);
          message.Clear();
        } else {
          loaded = Loaded::taken;
        }
        break;
    }
  }
  post(toPost);
  return loaded;
}

void SettingsFile::keepAsideAsRead(const std::string& tag, Event event, const std::string& description) const {
  const auto files = currentFiles();
  if (!files) {
    return;
  }
  const std::string where = pathIn(*files, _fileName);
  Statuses toPost;
  {
    const std::lock_guard lock(_mutex);
    ZAR_DAWSettingsFileStatus status{event, where, description, {}, {}};
    const platform::FileChange kept = files->keepAside(where, tag, keptCopies);
    if (kept.done) {
      status.keptCopyPath = kept.path;
      status.description += " It is kept as " + kept.path + ".";
    } else {
      _keepAsideBeforeWriting = tag;
      status.description += " It is kept aside before it is written over.";
    }
    ZAR_LOG_ERROR("Settings file {}: {}", where, status.description);
    found(std::move(status), toPost);
  }
  post(toPost);
}

void SettingsFile::foundDamaged(platform::FileUtility& files, const std::string& path, const std::string& tag,
                                const std::string& problem, bool lastSavedExists, Statuses& toPost) const {
  ZAR_DAWSettingsFileStatus status{Event::damaged, path, "Settings file " + path + " " + problem + ".", {}, {}};
  if (!tag.empty()) {
    status.description += " Its content is not used";
    if (const platform::FileChange kept = files.keepAside(path, tag, keptCopies); kept.done) {
      status.keptCopyPath = kept.path;
      status.description += "; it is kept as " + kept.path + ".";
    } else {
      _keepAsideBeforeWriting = tag;
      status.description += "; it is kept aside before it is written over.";
    }
  }
  if (lastSavedExists) {
    // The next save replaces the copy of the last one, which is what the user had.
    if (const platform::FileChange kept = files.keepAside(lastSavedPath(path), "kept", keptCopies); kept.done) {
      status.lastSavedCopyPath = kept.path;
    } else {
      _keepLastSavedBeforeWriting = true;
      status.lastSavedCopyPath = lastSavedPath(path);
    }
    status.description += " The last version saved is kept as " + status.lastSavedCopyPath +
                          " (dawctl settings restore brings it back).";
  }
  ZAR_LOG_ERROR("{}", status.description);
  found(std::move(status), toPost);
}

void SettingsFile::found(ZAR_DAWSettingsFileStatus status, Statuses& toPost) const {
  _found = status;
  toPost.push_back(std::move(status));
}

bool SettingsFile::write(std::string_view content) const {
  const auto files = currentFiles();
  if (!files) {
    return false;
  }
  const std::string where = pathIn(*files, _fileName);
  const std::string saved = lastSavedPath(where);
  Statuses toPost;
  bool written = false;
  {
    const std::lock_guard lock(_mutex);
    std::optional<std::string> refusal;
    if (_keepAsideBeforeWriting && files->fileExists(where)) {
      const platform::FileChange kept = files->keepAside(where, *_keepAsideBeforeWriting, keptCopies);
      if (kept.done) {
        ZAR_LOG_ERROR("Settings file {} was not used; kept it as {} before writing over it", where, kept.path);
      } else {
        refusal = "no copy of the file as it was found could be kept (" + kept.failure + "), so it is not written over";
      }
    }
    if (!refusal && _keepLastSavedBeforeWriting && files->fileExists(saved)) {
      const platform::FileChange kept = files->keepAside(saved, "kept", keptCopies);
      if (kept.done) {
        ZAR_LOG_ERROR("Kept the last version saved of {} as {} before saving again", where, kept.path);
      } else {
        refusal = "no copy of its last saved version could be kept (" + kept.failure + "), so it is not written over";
      }
    }
    if (refusal) {
      writeFailed(where, *refusal, toPost);
    } else {
      _keepAsideBeforeWriting.reset();
      _keepLastSavedBeforeWriting = false;
      // The copy first: a save cut short between the two leaves a file that differs from the copy,
      // which is then told as damage with the copy, the newer of the two, ready to come back. A
      // copy that can't be written, or whose file can't, is removed: it must never name content
      // the file doesn't hold.
      if (!files->write(saved, SavedCopy::encode(content)).done) {
        removeLastSaved(*files, where);
      }
      const platform::FileChange change = files->write(where, content);
      if (!change.done) {
        removeLastSaved(*files, where);
        writeFailed(where, change.failure, toPost);
      } else {
        written = true;
        if (_writeFailing) {
          _writeFailing = false;
          _failing.reset();
          ZAR_LOG_WARN("Settings file {} is written again", where);
          toPost.push_back({Event::writtenAgain, where, "Settings file " + where + " is written again.", {}, {}});
        }
      }
    }
  }
  post(toPost);
  return written;
}

void SettingsFile::writeFailed(const std::string& path, const std::string& failure, Statuses& toPost) const {
  // Once for a run of failed writes: every assignment saves, and the log would fill with the same.
  if (_writeFailing) {
    return;
  }
  _writeFailing = true;
  ZAR_DAWSettingsFileStatus status{
      Event::notWritten, path,
      "Can't write settings file " + path + ": " + failure +
          ". Changes are kept in memory only and are lost when the host quits, unless a later save works.",
      {}, {}};
  ZAR_LOG_ERROR("{}", status.description);
  _failing = status;
  toPost.push_back(std::move(status));
}

std::vector<ZAR_DAWSettingsFileStatus> SettingsFile::standingStatuses() const {
  const std::lock_guard lock(_mutex);
  std::vector<ZAR_DAWSettingsFileStatus> statuses;
  if (_found) statuses.push_back(*_found);
  if (_failing) statuses.push_back(*_failing);
  return statuses;
}

}  // namespace zar::modes
