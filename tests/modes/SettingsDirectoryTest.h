#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "support/CapturingLogger.h"
#include "support/TemporaryDirectory.h"

namespace zar::test {

/// Files (local ones, or any others) whose writes and copies fail on request, with the reason a
/// full or read-only disk would give.
class FaultyFiles final : public platform::FileUtility {
 public:
  explicit FaultyFiles(std::string directory) : _files(std::make_shared<native::LocalFileUtility>(std::move(directory))) {}
  explicit FaultyFiles(std::shared_ptr<platform::FileUtility> files) : _files(std::move(files)) {}
  std::string failWrites;           ///< writes and appends fail with this reason unless empty
  std::string failWritesEndingWith; ///< ... only those to paths ending so, unless empty
  std::string failKeepAside;        ///< copies fail with this reason unless empty

  std::string applicationSupportDirectoryPath() override { return _files->applicationSupportDirectoryPath(); }
  bool fileExists(const std::string& path) override { return _files->fileExists(path); }
  platform::FileRead read(const std::string& path, std::size_t maximumSize) override {
    return _files->read(path, maximumSize);
  }
  platform::FileChange write(const std::string& path, std::string_view content) override {
    const bool fails = !failWrites.empty() && (failWritesEndingWith.empty() || path.ends_with(failWritesEndingWith));
    return fails ? platform::FileChange{false, {}, failWrites} : _files->write(path, content);
  }
  platform::FileChange append(const std::string& path, std::string_view content) override {
    const bool fails = !failWrites.empty() && (failWritesEndingWith.empty() || path.ends_with(failWritesEndingWith));
    return fails ? platform::FileChange{false, {}, failWrites} : _files->append(path, content);
  }
  platform::FileChange keepAside(const std::string& path, const std::string& tag, std::size_t keep) override {
    return failKeepAside.empty() ? _files->keepAside(path, tag, keep) : platform::FileChange{false, {}, failKeepAside};
  }
  platform::FileChange remove(const std::string& path) override { return _files->remove(path); }

 private:
  std::shared_ptr<platform::FileUtility> _files;
};

/// A fixture whose platform keeps the settings files in a fresh temporary directory and captures
/// the log; the platform in use before is put back afterwards.
class SettingsDirectoryTest : public ::testing::Test {
 protected:
  SettingsDirectoryTest() {
    auto installed = std::make_shared<platform::Platform>();
    installed->fileUtility = files;
    installed->logger = logger;
    platform::Platform::install(installed);
    ddLogLevel = platform::LogLevelWarning;
  }
  ~SettingsDirectoryTest() override {
    platform::Platform::install(_previous);
    ddLogLevel = _previousLevel;
  }

  std::string path(const std::string& fileName) const { return directory.file(fileName); }
  std::optional<std::string> contentOf(const std::string& fileName) const {
    return native::LocalFileUtility(directory.path()).readFile(path(fileName));
  }
  /// A settings file as another program or machine writes it: with no copy of a save beside it.
  void putFile(const std::string& fileName, const std::string& content) const {
    native::LocalFileUtility disk(directory.path());
    ASSERT_TRUE(disk.remove(path(fileName) + ".last-saved").done);
    ASSERT_TRUE(disk.writeFileAtomically(path(fileName), content));
  }
  std::vector<std::string> entries() const { return directory.entries(); }
  std::vector<std::string> logged(platform::LogFlag flag) const { return logger->messages(flag); }

  TemporaryDirectory directory;
  std::shared_ptr<FaultyFiles> files = std::make_shared<FaultyFiles>(directory.path());
  std::shared_ptr<CapturingLogger> logger = std::make_shared<CapturingLogger>();

 private:
  std::shared_ptr<const platform::Platform> _previous = platform::Platform::current();
  std::int32_t _previousLevel = ddLogLevel;
};

}  // namespace zar::test
