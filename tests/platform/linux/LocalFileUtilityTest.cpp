#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "support/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;
using zar::native::LocalFileUtility;
using zar::test::TemporaryDirectory;

std::size_t entriesIn(const std::string& directory) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

TEST(LocalFileUtility, SupportDirectoryIsMadeWhenMissing) {
  TemporaryDirectory temp;
  LocalFileUtility files(temp.file("a/b/Vantrole"));
  EXPECT_EQ(files.applicationSupportDirectoryPath(), temp.file("a/b/Vantrole"));
  EXPECT_TRUE(fs::is_directory(temp.file("a/b/Vantrole")));
}

TEST(LocalFileUtility, DefaultDirectoryHonoursXdgDataHome) {
  const char* saved = std::getenv("XDG_DATA_HOME");
  const std::string previous = saved != nullptr ? saved : "";
  ::setenv("XDG_DATA_HOME", "/tmp/zar-xdg-data", 1);
  EXPECT_EQ(LocalFileUtility::defaultApplicationSupportDirectory("Vantrole"), "/tmp/zar-xdg-data/Vantrole");
  // A relative XDG path is not to be used; the home directory's default applies.
  ::setenv("XDG_DATA_HOME", "relative/data", 1);
  ::setenv("HOME", "/home/someone", 1);
  EXPECT_EQ(LocalFileUtility::defaultApplicationSupportDirectory("Vantrole"), "/home/someone/.local/share/Vantrole");
  if (saved != nullptr) {
    ::setenv("XDG_DATA_HOME", previous.c_str(), 1);
  } else {
    ::unsetenv("XDG_DATA_HOME");
  }
}

TEST(LocalFileUtility, WritesReplaceWholeFilesAndReadBack) {
  TemporaryDirectory temp;
  LocalFileUtility files(temp.path());
  const std::string path = temp.file("settings.bin");
  EXPECT_FALSE(files.fileExists(path));
  EXPECT_FALSE(files.readFile(path).has_value());

  const std::string binary("\0\x01\xff tail", 8);
  ASSERT_TRUE(files.writeFileAtomically(path, binary));
  EXPECT_EQ(files.readFile(path), binary);
  ASSERT_TRUE(files.writeFileAtomically(path, ""));
  EXPECT_EQ(files.readFile(path), "");
  EXPECT_EQ(entriesIn(temp.path()), 1u) << "no temporary file stays behind";
}

TEST(LocalFileUtility, WriteIntoMissingDirectoryFailsAndMakesNothing) {
  TemporaryDirectory temp;
  LocalFileUtility files(temp.path());
  EXPECT_FALSE(files.writeFileAtomically(temp.file("missing/settings.bin"), "data"));
  EXPECT_EQ(entriesIn(temp.path()), 0u);
}

TEST(LocalFileUtility, FailedWriteLeavesTheOldFileAsItWas) {
  TemporaryDirectory temp;
  LocalFileUtility files(temp.path());
  const std::string path = temp.file("settings.bin");
  ASSERT_TRUE(files.writeFileAtomically(path, "old content"));

  // A file size limit makes the write fail half way, as a full disk would.
  struct sigaction ignore {}, previousAction {};
  ignore.sa_handler = SIG_IGN;
  ASSERT_EQ(::sigaction(SIGXFSZ, &ignore, &previousAction), 0);
  rlimit previousLimit{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &previousLimit), 0);
  rlimit small = previousLimit;
  small.rlim_cur = 4096;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);

  const bool written = files.writeFileAtomically(path, std::string(1 << 20, 'x'));

  ::setrlimit(RLIMIT_FSIZE, &previousLimit);
  ::sigaction(SIGXFSZ, &previousAction, nullptr);

  EXPECT_FALSE(written);
  EXPECT_EQ(files.readFile(path), "old content");
  EXPECT_EQ(entriesIn(temp.path()), 1u) << "the partial temporary file is removed";
}

TEST(LocalFileUtility, UnreadablePathGivesNothing) {
  TemporaryDirectory temp;
  LocalFileUtility files(temp.path());
  EXPECT_FALSE(files.readFile(temp.path()).has_value()) << "a directory is not a readable file";
}

}  // namespace
