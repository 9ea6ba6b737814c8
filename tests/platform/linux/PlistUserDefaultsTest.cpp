#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <plist/plist.h>
#include <sys/stat.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ZAR_DAWControl/platform/Platform.h"
#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"
#include "support/CapturingLogger.h"
#include "support/TemporaryDirectory.h"
#include "support/Watchdog.h"

namespace {

namespace fs = std::filesystem;
using zar::native::PlistUserDefaults;
using zar::platform::LogFlag;
using zar::platform::PropertyArray;
using zar::platform::PropertyData;
using zar::platform::PropertyDictionary;
using zar::platform::PropertyValue;
using testing::ElementsAre;
using testing::HasSubstr;

std::string readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeAll(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

using Plist = std::unique_ptr<void, decltype(&plist_free)>;

Plist parseFile(const std::string& path) {
  const std::string content = readAll(path);
  plist_t root = nullptr;
  if (!content.empty()) plist_from_memory(content.data(), static_cast<std::uint32_t>(content.size()), &root);
  return Plist(root, &plist_free);
}

/// A dictionary holding "k": `arrays` arrays, each inside the one before.
std::string nestedXml(std::size_t arrays, const std::string& inside = "") {
  std::string xml = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>k</key>";
  for (std::size_t i = 0; i < arrays; ++i) xml += "<array>" + inside;
  for (std::size_t i = 0; i < arrays; ++i) xml += "</array>";
  return xml + "</dict></plist>";
}

/// A binary list of `arrays` arrays, each holding the next, the last holding `true`, or itself.
std::string binaryChain(std::uint32_t arrays, bool loop) {
  const auto bigEndian = [](std::uint64_t value, int bytes) {
    std::string out;
    for (int shift = (bytes - 1) * 8; shift >= 0; shift -= 8) out += static_cast<char>((value >> shift) & 0xFF);
    return out;
  };
  std::string data = "bplist00";
  std::string offsets;
  for (std::uint32_t i = 0; i <= arrays; ++i) {
    offsets += bigEndian(data.size(), 4);
    data += i < arrays ? "\xA1" + bigEndian(loop && i + 1 == arrays ? i : i + 1, 4) : std::string("\x09");
  }
  const std::size_t table = data.size();
  return data + offsets + std::string(6, '\0') + "\x04\x04" + bigEndian(arrays + 1, 8) + bigEndian(0, 8) +
         bigEndian(table, 8);
}

/// `bytes` with the byte at `at` (counted from the end when negative) replaced.
std::string patched(std::string bytes, std::ptrdiff_t at, char byte) {
  bytes[static_cast<std::size_t>(at < 0 ? static_cast<std::ptrdiff_t>(bytes.size()) + at : at)] = byte;
  return bytes;
}

std::string repeated(const std::string& text, std::size_t times) {
  std::string all;
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

/// `arrays` arrays, each inside the one before, the innermost empty: what `nestedXml` holds.
PropertyValue nestedValue(std::size_t arrays) {
  PropertyValue value = PropertyArray{};
  for (std::size_t i = 1; i < arrays; ++i) value = PropertyArray{value};
  return value;
}

/// The local file system, counting writes; while held, a write waits until it is let go.
class HeldFiles final : public zar::platform::FileUtility {
 public:
  void hold() {
    const std::lock_guard lock(_mutex);
    _held = true;
  }
  void letGo() {
    const std::lock_guard lock(_mutex);
    _held = false;
    _changed.notify_all();
  }
  /// Waits until a write waits for the hold.
  void waitForAHeldWrite() {
    std::unique_lock lock(_mutex);
    _changed.wait(lock, [this] { return _waiting > 0; });
  }
  int writes() const {
    const std::lock_guard lock(_mutex);
    return _writes;
  }

  std::string applicationSupportDirectoryPath() override { return _local.applicationSupportDirectoryPath(); }
  bool fileExists(const std::string& path) override { return _local.fileExists(path); }
  zar::platform::FileRead read(const std::string& path, std::size_t maximumSize) override {
    return _local.read(path, maximumSize);
  }
  zar::platform::FileChange write(const std::string& path, std::string_view content) override {
    {
      std::unique_lock lock(_mutex);
      ++_waiting;
      _changed.notify_all();
      _changed.wait(lock, [this] { return !_held; });
      --_waiting;
      ++_writes;
    }
    return _local.write(path, content);
  }
  zar::platform::FileChange keepAside(const std::string& path, const std::string& tag, std::size_t keep) override {
    return _local.keepAside(path, tag, keep);
  }
  zar::platform::FileChange append(const std::string& path, std::string_view content) override {
    return _local.append(path, content);
  }
  zar::platform::FileChange remove(const std::string& path) override { return _local.remove(path); }

 private:
  zar::native::LocalFileUtility _local{std::string()};
  mutable std::mutex _mutex;
  std::condition_variable _changed;
  bool _held = false;
  int _waiting = 0;
  int _writes = 0;
};

class PlistUserDefaultsTest : public ::testing::Test {
 protected:
  void SetUp() override { ddLogLevel = zar::platform::LogLevelWarning; }
  void TearDown() override { ddLogLevel = _savedLevel; }
  std::vector<std::string> errors() const { return logger->messages(LogFlag::error); }

  zar::test::TemporaryDirectory temp;
  std::string path = temp.file("com.zar.Test.plist");
  std::shared_ptr<zar::test::CapturingLogger> logger = std::make_shared<zar::test::CapturingLogger>();

 private:
  std::int32_t _savedLevel = ddLogLevel;
};

TEST_F(PlistUserDefaultsTest, StoredValuesWinOverRegisteredOnesAndOnlyTheyReachTheFileWhereEveryKindSurvivesARestart) {
  PropertyData bytes;
  for (int i = 0; i < 256; ++i) bytes.push_back(static_cast<std::uint8_t>(i));
  const PropertyDictionary values{
      {"yes", true}, {"no", false}, {"all levels", -1}, {"largest", std::int64_t{INT64_MAX}},
      {"smallest", std::int64_t{INT64_MIN}}, {"real", 0.1}, {"huge", 1e300},
      {"text", "Take <3> & \"cue\" \xc3\xa9"}, {"empty text", ""}, {"bytes", bytes},
      {"list", PropertyArray{1, "two", PropertyArray{3.5}, PropertyDictionary{{"k", false}}}},
      {"table", PropertyDictionary{{"inner", PropertyDictionary{{"deep", 7}}}, {"empty", PropertyArray{}}}},
  };
  {
    PlistUserDefaults defaults(path, logger);
    EXPECT_FALSE(defaults.objectForKey("missing") || defaults.boolForKey("missing") || defaults.stringForKey("missing"));
    EXPECT_EQ(defaults.integerForKey("missing"), 0);
    defaults.registerDefaults({{"level", 3}, {"flag", true}});
    EXPECT_EQ(defaults.integerForKey("level"), 3);
    EXPECT_FALSE(fs::exists(path)) << "registering alone writes nothing";
    defaults.setInteger(15, "level");
    defaults.registerDefaults({{"level", 31}});
    EXPECT_EQ(defaults.integerForKey("level"), 15) << "a stored value beats any registration";
    defaults.removeObjectForKey("level");
    EXPECT_EQ(defaults.integerForKey("level"), 31) << "the later registration replaced the earlier one";
    for (const auto& [key, value] : values) defaults.setObject(key, value);
  }
  const Plist root = parseFile(path);
  ASSERT_TRUE(root);
  EXPECT_EQ(plist_dict_get_size(root.get()), values.size());
  PlistUserDefaults restarted(path, logger);
  for (const auto& [key, value] : values) EXPECT_EQ(restarted.objectForKey(key), value) << key;
  EXPECT_FALSE(restarted.objectForKey("flag").has_value()) << "registered only";
  EXPECT_FALSE(restarted.objectForKey("level").has_value()) << "removed";
  EXPECT_TRUE(logger->statements().empty());
}

TEST_F(PlistUserDefaultsTest, FileIsAnXmlPropertyListThatPlistutilReads) {
  if (std::system("command -v plistutil >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "plistutil is not installed (package libplist-utils, see scripts/install-deps.sh)";
  }
  {
    PlistUserDefaults defaults(path, logger);
    defaults.setInteger(-1, "ApplicationLogLevel");
    defaults.setObject("list", PropertyArray{true, 2.5, "a < b"});
  }
  EXPECT_EQ(readAll(path).rfind("<?xml", 0), 0u) << "written as XML";
  // plistutil turns it into a binary property list, which a new instance must read the same.
  const std::string binary = temp.file("converted.plist");
  ASSERT_EQ(std::system(("plistutil -i '" + path + "' -o '" + binary + "' >/dev/null 2>&1").c_str()), 0);
  ASSERT_EQ(readAll(binary).rfind("bplist00", 0), 0u);
  PlistUserDefaults fromBinary(binary, logger);
  EXPECT_EQ(fromBinary.integerForKey("ApplicationLogLevel"), -1);
  EXPECT_EQ(fromBinary.objectForKey("list"), PropertyValue(PropertyArray{true, 2.5, "a < b"}));
}

TEST_F(PlistUserDefaultsTest, BadFilesAreMovedAsideByteForByteWithoutHarm) {
  constexpr char cut[] = "<?xml version=\"1.0\"?><plist><dict><key>cut off\0\xff";
  const struct {
    std::string content;
    std::string reason;
  } cases[] = {
      {std::string(cut, sizeof cut - 1), "is not a property list"},
      {"", "is not a property list"},
      {"<?xml version=\"1.0\"?><plist><array><integer>1</integer></array></plist>", "does not hold a dictionary"},
      {nestedXml(PlistUserDefaults::maximumNesting), "nests deeper than 128 levels"},
      {nestedXml(200, "<!-- </array> -->"), "nests deeper"},  // closes in comments close nothing
      {"<!DOCTYPE plist [<!ENTITY a \"]>\">]>" + nestedXml(200), "nests deeper"},  // a subset with quotes
      {binaryChain(100'000, false), "nests deeper"},
      {binaryChain(2, true), "nests deeper"},  // an array that holds itself
      {"</array></dict>" + nestedXml(200), "nests deeper"},                   // closes before any open
      {repeated("<dict\t><array\r><array\n><dict/><array ><array/>", 50), "nests deeper"},
      {"<plist><!-- never closed", "is not a property list"},
      {"<!DOCTYPE plist [<!ENTITY a \"b\">", "is not a property list"},
      {"<plist><dict><key>k</key><array", "is not a property list"},
      {"bplist00", "is not a property list"},
      {binaryChain(0, false), "does not hold a dictionary"},
      // A binary list whose trailer or objects point outside it: offset size 0, reference size 9, no
      // objects, the top object or the offset table past the end, more objects than offsets, a
      // reference past the last object, an array whose count is no integer.
      {patched(binaryChain(2, false), -26, 0), "is not a property list"},
      {patched(binaryChain(2, false), -25, 9), "is not a property list"},
      {patched(binaryChain(2, false), -17, 0), "is not a property list"},
      {patched(binaryChain(2, false), -9, 3), "is not a property list"},
      {patched(binaryChain(2, false), -1, 0x7F), "is not a property list"},
      {patched(binaryChain(2, false), -17, 9), "is not a property list"},
      {patched(binaryChain(2, false), 12, 0x7F), "is not a property list"},
      {patched(binaryChain(2, false), 8, '\xAF'), "is not a property list"},
  };
  for (const auto& [content, reason] : cases) {
    SCOPED_TRACE(content.substr(0, 80));
    for (const auto& name : temp.entries()) fs::remove(temp.file(name));
    logger->clear();
    writeAll(path, content);
    PlistUserDefaults defaults(path, logger);
    EXPECT_FALSE(defaults.objectForKey("k").has_value());
    const auto names = temp.entries();
    ASSERT_THAT(names, ElementsAre(testing::StartsWith("com.zar.Test.plist.corrupt-")));
    EXPECT_EQ(readAll(temp.file(names[0])), content);
    EXPECT_THAT(errors(), ElementsAre(testing::AllOf(HasSubstr(path), HasSubstr(temp.file(names[0])), HasSubstr(reason))));

    defaults.setBool(true, "fresh");
    ASSERT_TRUE(defaults.synchronize());
    EXPECT_EQ(readAll(temp.file(names[0])), content) << "the kept file is never touched again";
    EXPECT_TRUE(PlistUserDefaults(path, logger).boolForKey("fresh"));
  }
}

TEST_F(PlistUserDefaultsTest, NestingUpToTheLimitIsTakenAndNoDeeperValueIsStored) {
  writeAll(path, nestedXml(PlistUserDefaults::maximumNesting - 1));
  PlistUserDefaults defaults(path, logger);
  EXPECT_EQ(defaults.objectForKey("k"), nestedValue(PlistUserDefaults::maximumNesting - 1));

  defaults.setObject("deepest", nestedValue(PlistUserDefaults::maximumNesting - 1));
  defaults.setObject("too deep", nestedValue(PlistUserDefaults::maximumNesting));
  EXPECT_TRUE(defaults.objectForKey("deepest").has_value());
  EXPECT_FALSE(defaults.objectForKey("too deep").has_value());
  EXPECT_THAT(errors(), ElementsAre(HasSubstr("too deep")));
  ASSERT_TRUE(defaults.synchronize());
  EXPECT_TRUE(PlistUserDefaults(path, logger).objectForKey("deepest").has_value()) << "and the file reads back";
}

TEST_F(PlistUserDefaultsTest, WhatCantBeMovedOrIsNoRegularFileLeavesTheDomainInMemoryOnly) {
  // A kernel file is readable, no property list, and can be neither renamed nor replaced.
  ASSERT_EQ(::mkfifo(temp.file("fifo").c_str(), 0600), 0);
  fs::create_symlink("/dev/null", temp.file("device"));
  for (const std::string& file : {std::string("/proc/version"), temp.file("fifo"), temp.file("device")}) {
    SCOPED_TRACE(file);
    logger->clear();
    const std::string before = readAll("/proc/version");
    PlistUserDefaults defaults(file, logger);  // would wait for a writer if it opened the FIFO to read
    EXPECT_EQ(defaults.path(), std::nullopt);
    defaults.setInteger(4, "kept");
    EXPECT_EQ(defaults.integerForKey("kept"), 4);
    EXPECT_FALSE(defaults.synchronize()) << "nothing is written";
    EXPECT_EQ(readAll("/proc/version"), before);
    EXPECT_THAT(errors(), ElementsAre(HasSubstr("memory only"))) << "one error, and no write attempt after it";
  }
  EXPECT_TRUE(fs::is_fifo(temp.file("fifo")));
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(PlistUserDefaultsTest, SymlinkStaysALinkWhenWrittenAndWhenItsFileIsMovedAside) {
  fs::create_directory(temp.file("dotfiles"));
  fs::create_symlink("dotfiles/prefs.plist", temp.file("hop"));  // relative, to the link's directory
  fs::create_symlink(temp.file("hop"), path);
  writeAll(temp.file("dotfiles/prefs.plist"), "broken");
  PlistUserDefaults defaults(path, logger);
  defaults.setInteger(5, "value");  // written through both links to the file the bad one left
  ASSERT_TRUE(defaults.synchronize());
  EXPECT_TRUE(fs::is_symlink(path) && fs::is_symlink(temp.file("hop")));
  EXPECT_EQ(temp.entries("dotfiles").size(), 2u) << "the bad file went aside beside its target";
  EXPECT_EQ(PlistUserDefaults(path, logger).integerForKey("value"), 5);

  logger->clear();
  fs::create_symlink("loop", temp.file("loop"));  // a link to itself can't be read: it goes aside
  PlistUserDefaults(temp.file("loop"), logger).setInteger(1, "fresh");
  EXPECT_THAT(errors(), ElementsAre(HasSubstr("can't be read (Too many levels of symbolic links)")));
  EXPECT_EQ(PlistUserDefaults(temp.file("loop"), logger).integerForKey("fresh"), 1);
}

TEST_F(PlistUserDefaultsTest, DatesAreHiddenButWrittenBackUntilTheirKeyChanges) {
  writeAll(path,
           "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>when</key><date>2020-01-02T03:04:05Z</date>"
           "<key>nested</key><array><integer>1</integer><date>2021-01-01T00:00:00Z</date></array>"
           "<key>plain</key><integer>5</integer></dict></plist>");
  PlistUserDefaults defaults(path, logger);
  EXPECT_EQ(defaults.integerForKey("plain"), 5);
  EXPECT_FALSE(defaults.objectForKey("when").has_value());
  EXPECT_FALSE(defaults.objectForKey("nested").has_value());
  ASSERT_EQ(logger->statements().size(), 2u);
  EXPECT_EQ(logger->statements()[0].flag, LogFlag::warning);

  defaults.setInteger(6, "plain");
  ASSERT_TRUE(defaults.synchronize());
  const Plist root = parseFile(path);
  ASSERT_TRUE(root && plist_dict_get_item(root.get(), "when") && plist_dict_get_item(root.get(), "nested"));
  EXPECT_EQ(plist_get_node_type(plist_dict_get_item(root.get(), "when")), PLIST_DATE);
  EXPECT_EQ(plist_array_get_size(plist_dict_get_item(root.get(), "nested")), 2u);
  defaults.setString("now", "when");
  defaults.removeObjectForKey("nested");
  ASSERT_TRUE(defaults.synchronize());
  PlistUserDefaults restarted(path, logger);
  EXPECT_EQ(restarted.stringForKey("when"), "now");
  EXPECT_FALSE(restarted.objectForKey("nested").has_value());
  EXPECT_EQ(restarted.integerForKey("plain"), 6);
  EXPECT_EQ(logger->statements().size(), 2u) << "nothing left to warn about";
}

TEST_F(PlistUserDefaultsTest, MissingDirectoryIsMadeAndAFailedWriteIsLoggedOnceUntilAWriteWorks) {
  const std::string nested = temp.file("a/b/prefs.plist");
  PlistUserDefaults(nested, logger).setBool(true, "made");
  EXPECT_TRUE(PlistUserDefaults(nested, logger).boolForKey("made"));

  PlistUserDefaults defaults(nested, logger);
  fs::remove_all(temp.file("a"));
  writeAll(temp.file("a"), "a file where the directory was");
  for (const int value : {7, 8, 9}) {
    defaults.setInteger(value, "value");
    EXPECT_FALSE(defaults.synchronize());
  }
  EXPECT_FALSE(defaults.synchronize()) << "tried once more, in vain";
  EXPECT_EQ(defaults.integerForKey("value"), 9);
  EXPECT_THAT(errors(), ElementsAre(HasSubstr(nested)));

  fs::remove(temp.file("a"));
  EXPECT_TRUE(defaults.synchronize()) << "written with no further change";
  EXPECT_THAT(logger->messages(LogFlag::warning), ElementsAre(HasSubstr("written again")));
  EXPECT_EQ(PlistUserDefaults(nested, logger).integerForKey("value"), 9);
  EXPECT_EQ(errors().size(), 1u);
}

TEST_F(PlistUserDefaultsTest, ChangesAreReadAtOnceAndThoseMadeDuringAWriteAreWrittenTogether) {
  auto files = std::make_shared<HeldFiles>();
  files->hold();
  PlistUserDefaults defaults(path, logger, files);
  // A store that waited for its own write would wait for the hold until this lets it go.
  zar::test::Watchdog watchdog(std::chrono::seconds(30), [&] { files->letGo(); });
  defaults.setInteger(0, "count");
  files->waitForAHeldWrite();
  for (int i = 1; i <= 100; ++i) {
    defaults.setInteger(i, "count");
    defaults.setInteger(i, "key" + std::to_string(i));
    ASSERT_EQ(defaults.integerForKey("count"), i);
  }
  defaults.removeObjectForKey("key50");
  EXPECT_FALSE(defaults.objectForKey("key50").has_value());
  EXPECT_FALSE(fs::exists(path));

  files->letGo();
  EXPECT_TRUE(defaults.synchronize());
  EXPECT_FALSE(watchdog.fired());
  EXPECT_EQ(files->writes(), 2) << "the first change's write, then one for the 201 that came during it";
  const Plist root = parseFile(path);
  ASSERT_TRUE(root);
  EXPECT_EQ(plist_dict_get_size(root.get()), 100u);
  PlistUserDefaults restarted(path, logger);
  EXPECT_EQ(restarted.integerForKey("count"), 100);
  EXPECT_EQ(restarted.integerForKey("key100"), 100);
  EXPECT_FALSE(restarted.objectForKey("key50").has_value());
}

using PlistUserDefaultsDeathTest = PlistUserDefaultsTest;

// The platform installed for the process's life is never destroyed, nor is its store: exit is what
// waits for the last change.
TEST_F(PlistUserDefaultsDeathTest, ExitWritesTheLastChangeOfTheInstalledPlatformsStore) {
  EXPECT_EXIT(
      {
        auto files = std::make_shared<HeldFiles>();
        files->hold();
        auto platform = std::make_shared<zar::platform::Platform>();
        platform->userDefaults = std::make_shared<PlistUserDefaults>(path, nullptr, files);
        zar::platform::Platform::install(platform);
        platform->userDefaults->setBool(true, "first");
        files->waitForAHeldWrite();
        platform->userDefaults->setBool(true, "last");
        files->letGo();
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
  PlistUserDefaults restarted(path, logger);
  EXPECT_TRUE(restarted.boolForKey("first") && restarted.boolForKey("last"));
}

TEST(PlistUserDefaultsPath, FollowsAnAbsoluteXdgConfigHomeElseHomeElseTheUserDatabase) {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  const char* home = std::getenv("HOME");
  const std::string savedConfig = config ? config : "", savedHome = home ? home : "";
  ::setenv("HOME", "/home/someone", 1);
  ::setenv("XDG_CONFIG_HOME", "/srv/config", 1);
  EXPECT_EQ(PlistUserDefaults::defaultPath("com.zar.Vantrole"), "/srv/config/com.zar.Vantrole.plist");
  EXPECT_EQ(PlistUserDefaults::defaultPath("../../etc/x"), "/srv/config/.._.._etc_x.plist");
  for (const char* ignored : {"relative/config", ""}) {
    ::setenv("XDG_CONFIG_HOME", ignored, 1);
    EXPECT_EQ(PlistUserDefaults::defaultPath("com.zar.Vantrole"), "/home/someone/.config/com.zar.Vantrole.plist");
  }
  ::unsetenv("XDG_CONFIG_HOME");
  ::unsetenv("HOME");
  const fs::path fromDatabase = PlistUserDefaults::defaultPath("id");
  EXPECT_EQ(fromDatabase.parent_path().filename(), ".config");
  EXPECT_NE(fromDatabase, "/.config/id.plist");
  config ? ::setenv("XDG_CONFIG_HOME", savedConfig.c_str(), 1) : ::unsetenv("XDG_CONFIG_HOME");
  home ? ::setenv("HOME", savedHome.c_str(), 1) : ::unsetenv("HOME");
}

}  // namespace
