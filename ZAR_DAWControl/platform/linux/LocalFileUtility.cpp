#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <tuple>
#include <vector>

#include <fmt/chrono.h>
#include <fmt/format.h>

namespace zar::native {

namespace fs = std::filesystem;
using platform::FileChange;
using platform::FileRead;

namespace {

/// Linux's own limit on the links followed in one lookup.
constexpr int maximumLinksFollowed = 40;
/// `<YYYYMMDD>T<HHMMSS>Z`
constexpr std::size_t timestampLength = 16;

std::string userDataDirectory() {
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg != nullptr && xdg[0] == '/') {
    return xdg;
  }
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr ? home : "") + "/.local/share";
}

std::string errorText(int error) { return std::generic_category().message(error); }

FileChange failed(std::string failure) { return FileChange{false, {}, std::move(failure)}; }

bool writeAll(int fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(fd, content.data(), content.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    content.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

void syncDirectory(const fs::path& directory) {
  const int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd >= 0) {
    ::fsync(fd);
    ::close(fd);
  }
}

fs::path directoryOf(const fs::path& file) { return file.has_parent_path() ? file.parent_path() : fs::path("."); }

/// Where a copy named `name` stands among the copies starting with `prefix`: its time, then its
/// counter (1 without one). Nothing for a name of another form, which is never removed.
std::optional<std::tuple<std::string, unsigned>> copyOrder(const std::string& name, const std::string& prefix) {
  if (name.size() < prefix.size() + timestampLength || name.compare(0, prefix.size(), prefix) != 0) {
    return std::nullopt;
  }
  const std::string stamp = name.substr(prefix.size(), timestampLength);
  if (stamp[8] != 'T' || stamp.back() != 'Z') return std::nullopt;
  const std::string_view rest = std::string_view(name).substr(prefix.size() + timestampLength);
  unsigned counter = 1;
  if (!rest.empty()) {
    const auto [end, error] = std::from_chars(rest.data() + 1, rest.data() + rest.size(), counter);
    if (rest[0] != '-' || error != std::errc() || end != rest.data() + rest.size()) return std::nullopt;
  }
  return std::tuple{stamp, counter};
}

/// The copies starting with `prefix` in `directory`, oldest first.
std::vector<std::string> copiesIn(const fs::path& directory, const std::string& prefix) {
  std::vector<std::tuple<std::string, unsigned, std::string>> copies;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(directory, error)) {
    const std::string name = entry.path().filename().string();
    if (const auto order = copyOrder(name, prefix)) {
      copies.emplace_back(std::get<0>(*order), std::get<1>(*order), name);
    }
  }
  std::sort(copies.begin(), copies.end());
  std::vector<std::string> names;
  for (auto& copy : copies) names.push_back(std::move(std::get<2>(copy)));
  return names;
}

/// Removes the oldest copies beyond `keep`, never `made`.
void pruneCopies(const fs::path& directory, const std::string& prefix, const std::string& made, std::size_t keep) {
  std::vector<std::string> copies = copiesIn(directory, prefix);
  std::erase(copies, made);
  const std::size_t others = keep > 0 ? keep - 1 : 0;
  std::error_code error;
  for (std::size_t i = 0; i + others < copies.size(); ++i) {
    fs::remove(directory / copies[i], error);
  }
}

}  // namespace

LocalFileUtility::LocalFileUtility(std::string applicationSupportDirectory)
    : _directory(std::move(applicationSupportDirectory)) {}

std::string LocalFileUtility::defaultApplicationSupportDirectory(const std::string& applicationName) {
  return (fs::path(userDataDirectory()) / applicationName).string();
}

std::optional<std::string> LocalFileUtility::resolvedPath(const std::string& path, std::string& failure) {
  fs::path resolved(path);
  for (int followed = 0; followed <= maximumLinksFollowed; ++followed) {
    std::error_code error;
    if (!fs::is_symlink(fs::symlink_status(resolved, error))) {
      return resolved.string();
    }
    const fs::path target = fs::read_symlink(resolved, error);
    if (error) {
      failure = error.message();
      return std::nullopt;
    }
    resolved = target.is_absolute() ? target : directoryOf(resolved) / target;
  }
  failure = errorText(ELOOP);
  return std::nullopt;
}

std::string LocalFileUtility::applicationSupportDirectoryPath() {
  std::error_code error;
  fs::create_directories(_directory, error);
  return _directory;
}

bool LocalFileUtility::fileExists(const std::string& path) {
  std::error_code error;
  return fs::exists(path, error);
}

FileRead LocalFileUtility::read(const std::string& path, std::size_t maximumSize) {
  FileRead result;
  const auto fail = [&result](FileRead::Status status, std::string failure) {
    result.status = status;
    result.failure = std::move(failure);
    return result;
  };
  const auto openFailure = [&fail](int error) {
    if (error == ENOENT || error == ENOTDIR) return fail(FileRead::Status::missing, errorText(error));
    return fail(FileRead::Status::failed, errorText(error));
  };
  // Looked at before it is opened: opening a device may do something, opening a FIFO may wait.
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    return openFailure(errno);
  }
  if (!S_ISREG(status.st_mode)) {
    return fail(FileRead::Status::notRegular, "not a regular file");
  }
  // Without blocking, in case something else took its place in between.
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (fd < 0) {
    return openFailure(errno);
  }
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    ::close(fd);
    return fail(FileRead::Status::notRegular, "not a regular file");
  }
  if (static_cast<std::uintmax_t>(status.st_size) > maximumSize) {
    ::close(fd);
    return fail(FileRead::Status::tooLarge, fmt::format("larger than {} bytes", maximumSize));
  }
  result.content.reserve(static_cast<std::size_t>(status.st_size));
  char buffer[65536];
  for (;;) {
    const ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got == 0) break;
    if (got < 0) {
      if (errno == EINTR) continue;
      const int error = errno;
      ::close(fd);
      result.content.clear();
      return fail(FileRead::Status::failed, errorText(error));
    }
    if (result.content.size() + static_cast<std::size_t>(got) > maximumSize) {  // grew while read
      ::close(fd);
      result.content.clear();
      return fail(FileRead::Status::tooLarge, fmt::format("larger than {} bytes", maximumSize));
    }
    result.content.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(fd);
  result.status = FileRead::Status::read;
  return result;
}

FileChange LocalFileUtility::write(const std::string& path, std::string_view content) {
  std::string failure;
  const std::optional<std::string> resolved = resolvedPath(path, failure);
  if (!resolved) {
    return failed(failure);
  }
  const fs::path target(*resolved);
  struct stat status {};
  if (::lstat(target.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    return failed("not a regular file");
  }
  const fs::path directory = directoryOf(target);
  std::string pattern = (directory / ("." + target.filename().string() + ".XXXXXX")).string();
  std::vector<char> temporary(pattern.begin(), pattern.end());
  temporary.push_back('\0');

  const int fd = ::mkstemp(temporary.data());
  if (fd < 0) {
    return failed(errorText(errno));
  }
  const bool written = writeAll(fd, content) && ::fchmod(fd, 0644) == 0 && ::fsync(fd) == 0;
  int error = written ? 0 : errno;
  if (::close(fd) != 0 && error == 0) error = errno;
  if (error == 0 && ::rename(temporary.data(), target.c_str()) != 0) error = errno;
  if (error != 0) {
    ::unlink(temporary.data());
    return failed(errorText(error));
  }
  syncDirectory(directory);
  return FileChange{true, {}, {}};
}

FileChange LocalFileUtility::append(const std::string& path, std::string_view content) {
  std::string failure;
  const std::optional<std::string> resolved = resolvedPath(path, failure);
  if (!resolved) {
    return failed(failure);
  }
  // Without blocking and checked once open: a FIFO or device put in the file's place is refused.
  const int fd = ::open(resolved->c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0644);
  if (fd < 0) {
    return failed(errno == ENXIO ? "not a regular file" : errorText(errno));
  }
  struct stat status {};
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    ::close(fd);
    return failed("not a regular file");
  }
  const bool written = writeAll(fd, content) && ::fdatasync(fd) == 0;
  const int error = written ? 0 : errno;
  if (!written && ::ftruncate(fd, status.st_size) == 0) ::fdatasync(fd);  // no half a line stays
  ::close(fd);
  if (error != 0) {
    return failed(errorText(error));
  }
  return FileChange{true, {}, {}};
}

FileChange LocalFileUtility::keepAside(const std::string& path, const std::string& tag, std::size_t keep) {
  std::string failure;
  const std::optional<std::string> resolved = resolvedPath(path, failure);
  if (!resolved) {
    return failed(failure);
  }
  const fs::path target(*resolved);
  const std::string prefix = target.filename().string() + "." + tag + "-";
  // A copy is a second link to the file: the newest copy is the file as it is now when both are
  // the same inode.
  struct stat file {};
  if (::stat(target.c_str(), &file) != 0) {
    return failed(errorText(errno));
  }
  if (const auto copies = copiesIn(directoryOf(target), prefix); !copies.empty()) {
    const fs::path newest = directoryOf(target) / copies.back();
    struct stat copy {};
    if (::lstat(newest.c_str(), &copy) == 0 && copy.st_ino == file.st_ino && copy.st_dev == file.st_dev) {
      return FileChange{true, newest.string(), {}};
    }
  }
  const std::string stamp =
      fmt::format("{:%Y%m%dT%H%M%SZ}", fmt::gmtime(std::chrono::system_clock::to_time_t(std::chrono::system_clock::now())));
  for (int attempt = 1; attempt <= 100; ++attempt) {
    const std::string name = attempt == 1 ? prefix + stamp : fmt::format("{}{}-{}", prefix, stamp, attempt);
    const fs::path copy = directoryOf(target) / name;
    if (::link(target.c_str(), copy.c_str()) == 0) {
      syncDirectory(directoryOf(target));
      pruneCopies(directoryOf(target), prefix, name, keep);
      return FileChange{true, copy.string(), {}};
    }
    if (errno != EEXIST) {
      return failed(errorText(errno));
    }
  }
  return failed(errorText(EEXIST));
}

FileChange LocalFileUtility::remove(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    return errno == ENOENT ? FileChange{true, {}, {}} : failed(errorText(errno));
  }
  if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
    return failed("not a regular file");
  }
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
    return failed(errorText(errno));
  }
  return FileChange{true, {}, {}};
}

}  // namespace zar::native
