#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <vector>

namespace zar::native {

namespace fs = std::filesystem;

namespace {

std::string userDataDirectory() {
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg != nullptr && xdg[0] == '/') {
    return xdg;
  }
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr ? home : "") + "/.local/share";
}

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

}  // namespace

LocalFileUtility::LocalFileUtility(std::string applicationSupportDirectory)
    : _directory(std::move(applicationSupportDirectory)) {}

std::string LocalFileUtility::defaultApplicationSupportDirectory(const std::string& applicationName) {
  return (fs::path(userDataDirectory()) / applicationName).string();
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

std::optional<std::string> LocalFileUtility::readFile(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return std::nullopt;
  }
  struct stat status {};
  std::optional<std::string> content;
  if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) {
    content.emplace();
    char buffer[65536];
    for (;;) {
      const ssize_t got = ::read(fd, buffer, sizeof buffer);
      if (got == 0) break;
      if (got < 0) {
        if (errno == EINTR) continue;
        content.reset();
        break;
      }
      content->append(buffer, static_cast<std::size_t>(got));
    }
  }
  ::close(fd);
  return content;
}

bool LocalFileUtility::writeFileAtomically(const std::string& path, std::string_view content) {
  const fs::path target(path);
  const fs::path directory = target.has_parent_path() ? target.parent_path() : fs::path(".");
  std::string pattern = (directory / ("." + target.filename().string() + ".XXXXXX")).string();
  std::vector<char> temporary(pattern.begin(), pattern.end());
  temporary.push_back('\0');

  const int fd = ::mkstemp(temporary.data());
  if (fd < 0) {
    return false;
  }
  const bool written = writeAll(fd, content) && ::fchmod(fd, 0644) == 0 && ::fsync(fd) == 0;
  const bool closed = ::close(fd) == 0;
  if (!written || !closed || ::rename(temporary.data(), target.c_str()) != 0) {
    ::unlink(temporary.data());
    return false;
  }
  syncDirectory(directory);
  return true;
}

}  // namespace zar::native
