#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "support/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;
using zar::native::LocalFileUtility;
using zar::test::TemporaryDirectory;

TEST(LocalFileUtility, SupportDirectoryIsMadeWhenMissingAndFollowsXdgDataHome) {
  TemporaryDirectory temp;
  EXPECT_EQ(LocalFileUtility(temp.file("a/b/Vantrole")).applicationSupportDirectoryPath(), temp.file("a/b/Vantrole"));
  EXPECT_TRUE(fs::is_directory(temp.file("a/b/Vantrole")));

  const char* saved = std::getenv("XDG_DATA_HOME");
  const std::string previous = saved != nullptr ? saved : "";
  ::setenv("XDG_DATA_HOME", "/tmp/zar-xdg-data", 1);
  EXPECT_EQ(LocalFileUtility::defaultApplicationSupportDirectory("Vantrole"), "/tmp/zar-xdg-data/Vantrole");
  // A relative XDG path is not to be used; the home directory's default applies.
  ::setenv("XDG_DATA_HOME", "relative/data", 1);
  ::setenv("HOME", "/home/someone", 1);
  EXPECT_EQ(LocalFileUtility::defaultApplicationSupportDirectory("Vantrole"), "/home/someone/.local/share/Vantrole");
  saved != nullptr ? ::setenv("XDG_DATA_HOME", previous.c_str(), 1) : ::unsetenv("XDG_DATA_HOME");
}

TEST(LocalFileUtility, ReadsOnlyAWholeRegularFileWithinTheLimitAndSaysWhyNot) {
  using Status = zar::platform::FileRead::Status;
  TemporaryDirectory temp;
  LocalFileUtility files(temp.path());
  ASSERT_TRUE(files.writeFileAtomically(temp.file("list.bin"), "12345"));
  fs::create_symlink("loop", temp.file("loop"));
  const std::tuple<std::string, std::size_t, Status, std::string> reads[] = {
      {"list.bin", 5, Status::read, ""},
      {"list.bin", 4, Status::tooLarge, "larger than 4 bytes"},
      {"missing", 5, Status::missing, "No such file or directory"},
      {"list.bin/inner", 5, Status::missing, "Not a directory"},
      {"", 5, Status::notRegular, "not a regular file"},  // the directory itself
      {"loop", 5, Status::failed, "Too many levels of symbolic links"}};
  for (const auto& [name, limit, status, failure] : reads) {
    const auto read = files.read(temp.file(name), limit);
    EXPECT_EQ(read.status, status) << name;
    EXPECT_EQ(read.failure, failure) << name;
    EXPECT_EQ(read.content, status == Status::read ? "12345" : "") << name;
  }
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
  const auto written = files.write(path, std::string(1 << 20, 'x'));
  ::setrlimit(RLIMIT_FSIZE, &previousLimit);
  ::sigaction(SIGXFSZ, &previousAction, nullptr);

  EXPECT_FALSE(written.done);
  EXPECT_EQ(written.failure, "File too large");
  EXPECT_EQ(files.readFile(path), "old content");
  EXPECT_EQ(temp.entries().size(), 1u) << "the partial temporary file is removed";
}

TEST(LocalFileUtility, KeptCopiesHoldTheOldBytesAndOnlyTheNewestStay) {
  TemporaryDirectory temp;
  LocalFileUtility files(temp.path());
  const std::string path = temp.file("list.bin");
  for (const char* old : {"list.bin.unreadable-20200101T000000Z", "list.bin.unreadable-20200101T000000Z-2",
                          "list.bin.unreadable-20210101T000000Z", "list.bin.unreadable-notes", "list.bin.other-1"}) {
    ASSERT_TRUE(files.writeFileAtomically(temp.file(old), old));
  }
  ASSERT_TRUE(files.writeFileAtomically(path, "unreadable bytes"));
  const auto kept = files.keepAside(path, "unreadable", 3);
  ASSERT_TRUE(kept.done) << kept.failure;
  ASSERT_TRUE(files.writeFileAtomically(path, "new"));
  EXPECT_EQ(files.readFile(kept.path), "unreadable bytes");
  const std::string copy = fs::path(kept.path).filename().string();
  EXPECT_EQ(copy.size(), std::string("list.bin.unreadable-20250101T120000Z").size()) << copy;
  EXPECT_EQ(temp.entries(),
            (std::vector<std::string>{"list.bin", "list.bin.other-1", "list.bin.unreadable-20200101T000000Z-2",
                                      "list.bin.unreadable-20210101T000000Z", copy, "list.bin.unreadable-notes"}))
      << "the oldest copy went; names of another form stay";
  EXPECT_FALSE(files.keepAside(temp.file("missing"), "unreadable", 3).done);
}

}  // namespace
