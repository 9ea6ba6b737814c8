#include <gtest/gtest.h>

#include <string>

#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"

namespace {

TEST(MemoryFileUtility, KeepsWholeFilesByPathAndCountsWrites) {
  zar::sim::MemoryFileUtility files("/settings");
  EXPECT_EQ(files.applicationSupportDirectoryPath(), "/settings");
  EXPECT_FALSE(files.fileExists("/settings/a.bin"));
  EXPECT_FALSE(files.readFile("/settings/a.bin").has_value());

  const std::string binary("\0\x01\xff", 3);
  EXPECT_TRUE(files.writeFileAtomically("/settings/a.bin", binary));
  EXPECT_TRUE(files.writeFileAtomically("/settings/b.bin", "first"));
  EXPECT_TRUE(files.writeFileAtomically("/settings/b.bin", ""));
  EXPECT_TRUE(files.fileExists("/settings/a.bin"));
  EXPECT_EQ(files.readFile("/settings/a.bin"), binary);
  EXPECT_EQ(files.readFile("/settings/b.bin"), "") << "an empty file still exists";
  EXPECT_EQ(files.writeCount(), 3u);
  EXPECT_EQ(files.files().size(), 2u);
}

}  // namespace
