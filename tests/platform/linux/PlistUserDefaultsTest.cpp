#include <gtest/gtest.h>

#include <plist/plist.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ZAR_DAWControl/platform/linux/LocalFileUtility.h"
#include "ZAR_DAWControl/platform/linux/PlistUserDefaults.h"
#include "support/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;
using zar::native::LocalFileUtility;
using zar::native::PlistUserDefaults;
using zar::platform::LogFlag;
using zar::platform::PropertyArray;
using zar::platform::PropertyData;
using zar::platform::PropertyDictionary;
using zar::platform::PropertyValue;
using zar::test::TemporaryDirectory;

class RecordingLogger final : public zar::platform::Logger {
 public:
  struct Entry {
    LogFlag flag;
    std::string message;
  };
  void log(LogFlag flag, const char*, const char*, int, std::string message) override {
    const std::lock_guard lock(_mutex);
    _entries.push_back({flag, std::move(message)});
  }
  void flush() override {}
  std::vector<Entry> entries() const {
    const std::lock_guard lock(_mutex);
    return _entries;
  }

 private:
  mutable std::mutex _mutex;
  std::vector<Entry> _entries;
};

std::string readAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeAll(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

struct PlistFree {
  void operator()(plist_t node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistFree>;

Plist parseFile(const std::string& path) {
  const std::string content = readAll(path);
  plist_t root = nullptr;
  if (!content.empty()) plist_from_memory(content.data(), static_cast<std::uint32_t>(content.size()), &root);
  return Plist(root);
}

std::vector<std::string> entriesIn(const std::string& directory) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) names.push_back(entry.path().filename().string());
  return names;
}

class PlistUserDefaultsTest : public ::testing::Test {
 protected:
  void SetUp() override { ddLogLevel = zar::platform::LogLevelWarning; }
  void TearDown() override { ddLogLevel = _savedLevel; }

  TemporaryDirectory temp;
  std::string path = temp.file("com.zar.Test.plist");
  std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();

 private:
  std::int32_t _savedLevel = ddLogLevel;
};

TEST_F(PlistUserDefaultsTest, StoredValuesWinOverRegisteredOnesAndLaterRegistrationsWin) {
  PlistUserDefaults defaults(std::nullopt, logger);
  defaults.registerDefaults({{"level", 3}, {"flag", true}});
  EXPECT_EQ(defaults.integerForKey("level"), 3);
  EXPECT_TRUE(defaults.boolForKey("flag"));

  defaults.setInteger(15, "level");
  defaults.registerDefaults({{"level", 31}});
  EXPECT_EQ(defaults.integerForKey("level"), 15) << "a stored value beats any registration";

  defaults.removeObjectForKey("level");
  EXPECT_EQ(defaults.integerForKey("level"), 31) << "the later registration replaced the earlier one";

  defaults.setBool(false, "flag");
  EXPECT_FALSE(defaults.boolForKey("flag"));
}

TEST_F(PlistUserDefaultsTest, AbsentKeysReadAsNothingNoAndZero) {
  PlistUserDefaults defaults(std::nullopt, logger);
  EXPECT_FALSE(defaults.objectForKey("missing").has_value());
  EXPECT_FALSE(defaults.boolForKey("missing"));
  EXPECT_EQ(defaults.integerForKey("missing"), 0);
  EXPECT_FALSE(defaults.stringForKey("missing").has_value());
  EXPECT_EQ(defaults.path(), std::nullopt);
}

TEST_F(PlistUserDefaultsTest, RegisteredValuesNeverReachTheFile) {
  {
    PlistUserDefaults defaults(path, logger);
    defaults.registerDefaults({{"registered", true}});
    EXPECT_FALSE(fs::exists(path)) << "registering alone writes nothing";
    defaults.setString("stored", "name");
  }
  const Plist root = parseFile(path);
  ASSERT_TRUE(root);
  EXPECT_EQ(plist_dict_get_size(root.get()), 1u);
  EXPECT_NE(plist_dict_get_item(root.get(), "name"), nullptr);
  EXPECT_EQ(plist_dict_get_item(root.get(), "registered"), nullptr);

  PlistUserDefaults restarted(path, logger);
  EXPECT_FALSE(restarted.objectForKey("registered").has_value());
}

TEST_F(PlistUserDefaultsTest, EveryValueKindSurvivesARestart) {
  PropertyData bytes;
  for (int i = 0; i < 256; ++i) bytes.push_back(static_cast<std::uint8_t>(i));
  const PropertyDictionary values{
      {"yes", true},
      {"no", false},
      {"all levels", -1},
      {"largest", std::int64_t{INT64_MAX}},
      {"smallest", std::int64_t{INT64_MIN}},
      {"real", 0.1},
      {"huge", 1e300},
      {"text", "Take <3> & \"cue\" \xc3\xa9"},
      {"empty text", ""},
      {"bytes", bytes},
      {"list", PropertyArray{1, "two", PropertyArray{3.5}, PropertyDictionary{{"k", false}}}},
      {"table", PropertyDictionary{{"inner", PropertyDictionary{{"deep", 7}}}, {"empty", PropertyArray{}}}},
  };
  {
    PlistUserDefaults defaults(path, logger);
    for (const auto& [key, value] : values) defaults.setObject(key, value);
    defaults.setObject("removed", 1);
    defaults.removeObjectForKey("removed");
  }
  PlistUserDefaults restarted(path, logger);
  for (const auto& [key, value] : values) {
    EXPECT_EQ(restarted.objectForKey(key), value) << key;
  }
  EXPECT_FALSE(restarted.objectForKey("removed").has_value());
  EXPECT_TRUE(logger->entries().empty());
}

TEST_F(PlistUserDefaultsTest, FileIsAnXmlPropertyListThatPlistutilReads) {
  if (std::system("command -v plistutil >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "plistutil is not installed (package libplist-utils, see scripts/install-deps.sh)";
  }
  {
    PlistUserDefaults defaults(path, logger);
    defaults.setInteger(-1, "ApplicationLogLevel");
    defaults.setString("a < b", "text");
    defaults.setObject("list", PropertyArray{true, 2.5});
  }
  EXPECT_EQ(readAll(path).rfind("<?xml", 0), 0u) << "written as XML";

  // plistutil turns it into a binary property list, which a new instance must read the same.
  const std::string binary = temp.file("converted.plist");
  const std::string command = "plistutil -i '" + path + "' -o '" + binary + "' >/dev/null 2>&1";
  ASSERT_EQ(std::system(command.c_str()), 0);
  ASSERT_EQ(readAll(binary).rfind("bplist00", 0), 0u);

  PlistUserDefaults fromBinary(binary, logger);
  EXPECT_EQ(fromBinary.integerForKey("ApplicationLogLevel"), -1);
  EXPECT_EQ(fromBinary.stringForKey("text"), "a < b");
  EXPECT_EQ(fromBinary.objectForKey("list"), PropertyValue(PropertyArray{true, 2.5}));
}

TEST_F(PlistUserDefaultsTest, CorruptFileIsKeptAsideByteForByteAndTheDomainStartsEmpty) {
  constexpr char bytes[] = "<?xml version=\"1.0\"?><plist><dict><key>cut off\0\xff";
  const std::string garbage(bytes, sizeof bytes - 1);
  writeAll(path, garbage);

  PlistUserDefaults defaults(path, logger);
  EXPECT_FALSE(defaults.objectForKey("cut off").has_value());
  EXPECT_FALSE(fs::exists(path));
  const auto names = entriesIn(temp.path());
  ASSERT_EQ(names.size(), 1u);
  const std::string aside = temp.file(names[0]);
  EXPECT_EQ(names[0].rfind("com.zar.Test.plist.corrupt-", 0), 0u) << names[0];
  EXPECT_EQ(readAll(aside), garbage);

  const auto entries = logger->entries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].flag, LogFlag::error);
  EXPECT_NE(entries[0].message.find(path), std::string::npos) << entries[0].message;
  EXPECT_NE(entries[0].message.find(aside), std::string::npos) << entries[0].message;

  defaults.setBool(true, "fresh");
  EXPECT_EQ(readAll(aside), garbage) << "the kept file is never touched again";
  EXPECT_TRUE(PlistUserDefaults(path, logger).boolForKey("fresh"));
}

TEST_F(PlistUserDefaultsTest, EachCorruptFileGetsItsOwnName) {
  writeAll(path, "first");
  PlistUserDefaults first(path, logger);
  writeAll(path, "second");
  PlistUserDefaults second(path, logger);
  writeAll(path, "");
  PlistUserDefaults third(path, logger);

  std::vector<std::string> kept;
  for (const auto& name : entriesIn(temp.path())) kept.push_back(readAll(temp.file(name)));
  std::sort(kept.begin(), kept.end());
  EXPECT_EQ(kept, (std::vector<std::string>{"", "first", "second"}));
}

TEST_F(PlistUserDefaultsTest, RootThatIsNoDictionaryIsKeptAside) {
  const std::string array =
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><array><integer>1</integer></array></plist>";
  writeAll(path, array);
  PlistUserDefaults defaults(path, logger);
  EXPECT_FALSE(fs::exists(path));
  const auto names = entriesIn(temp.path());
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(readAll(temp.file(names[0])), array);
}

TEST_F(PlistUserDefaultsTest, UnmovableBadFileLeavesTheDomainInMemoryOnly) {
  // A kernel file is readable, no property list, and can be neither renamed nor replaced.
  const std::string kernelFile = "/proc/version";
  if (!fs::exists(kernelFile)) {
    GTEST_SKIP() << "needs /proc";
  }
  const std::string before = readAll(kernelFile);
  PlistUserDefaults defaults(kernelFile, logger);
  EXPECT_EQ(defaults.path(), std::nullopt);
  defaults.setInteger(4, "kept");
  EXPECT_EQ(defaults.integerForKey("kept"), 4);
  EXPECT_EQ(readAll(kernelFile), before);

  const auto entries = logger->entries();
  ASSERT_EQ(entries.size(), 1u) << "one error, and no write attempt after it";
  EXPECT_EQ(entries[0].flag, LogFlag::error);
  EXPECT_NE(entries[0].message.find("memory only"), std::string::npos) << entries[0].message;
}

TEST_F(PlistUserDefaultsTest, DatesAreHiddenButWrittenBackUntilTheirKeyChanges) {
  writeAll(path,
           "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>"
           "<key>when</key><date>2020-01-02T03:04:05Z</date>"
           "<key>nested</key><array><integer>1</integer><date>2021-01-01T00:00:00Z</date></array>"
           "<key>plain</key><integer>5</integer>"
           "</dict></plist>");
  PlistUserDefaults defaults(path, logger);
  EXPECT_EQ(defaults.integerForKey("plain"), 5);
  EXPECT_FALSE(defaults.objectForKey("when").has_value());
  EXPECT_FALSE(defaults.objectForKey("nested").has_value());
  const auto entries = logger->entries();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].flag, LogFlag::warning);

  defaults.setInteger(6, "plain");
  {
    const Plist root = parseFile(path);
    ASSERT_TRUE(root);
    const plist_t when = plist_dict_get_item(root.get(), "when");
    ASSERT_NE(when, nullptr);
    EXPECT_EQ(plist_get_node_type(when), PLIST_DATE);
    const plist_t nested = plist_dict_get_item(root.get(), "nested");
    ASSERT_NE(nested, nullptr);
    EXPECT_EQ(plist_array_get_size(nested), 2u);
  }

  defaults.setString("now", "when");
  defaults.removeObjectForKey("nested");
  PlistUserDefaults restarted(path, logger);
  EXPECT_EQ(restarted.stringForKey("when"), "now");
  EXPECT_FALSE(restarted.objectForKey("nested").has_value());
  EXPECT_EQ(restarted.integerForKey("plain"), 6);
  EXPECT_EQ(logger->entries().size(), 2u) << "nothing left to warn about";
}

TEST_F(PlistUserDefaultsTest, FailedWriteIsLoggedAndTheValueStillReads) {
  const std::string directory = temp.file("config");
  fs::create_directory(directory);
  const std::string inside = directory + "/prefs.plist";
  PlistUserDefaults defaults(inside, logger);
  fs::remove(directory);
  writeAll(directory, "a file where the directory was");

  defaults.setInteger(9, "value");
  EXPECT_EQ(defaults.integerForKey("value"), 9);
  const auto entries = logger->entries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].flag, LogFlag::error);
  EXPECT_NE(entries[0].message.find(inside), std::string::npos);
}

TEST_F(PlistUserDefaultsTest, MissingDirectoryIsMadeOnTheFirstWrite) {
  const std::string nested = temp.file("a/b/prefs.plist");
  PlistUserDefaults(nested, logger).setBool(true, "made");
  EXPECT_TRUE(PlistUserDefaults(nested, logger).boolForKey("made"));
}

TEST_F(PlistUserDefaultsTest, LogsAreGatedByTheLogLevel) {
  ddLogLevel = zar::platform::LogLevelOff;
  writeAll(path, "bad");
  PlistUserDefaults defaults(path, logger);
  EXPECT_TRUE(logger->entries().empty());
  EXPECT_EQ(entriesIn(temp.path()).size(), 1u) << "still kept aside when nothing is logged";
}

class EnvironmentGuard {
 public:
  explicit EnvironmentGuard(std::vector<std::string> names) {
    for (auto& name : names) {
      const char* value = std::getenv(name.c_str());
      _saved.push_back({name, value != nullptr ? std::optional<std::string>(value) : std::nullopt});
    }
  }
  ~EnvironmentGuard() {
    for (const auto& [name, value] : _saved) {
      if (value) {
        ::setenv(name.c_str(), value->c_str(), 1);
      } else {
        ::unsetenv(name.c_str());
      }
    }
  }

 private:
  std::vector<std::pair<std::string, std::optional<std::string>>> _saved;
};

TEST(PlistUserDefaultsPath, FollowsXdgConfigHomeOnlyWhenAbsolute) {
  const EnvironmentGuard guard({"XDG_CONFIG_HOME", "HOME"});
  ::setenv("HOME", "/home/someone", 1);
  ::setenv("XDG_CONFIG_HOME", "/srv/config", 1);
  EXPECT_EQ(PlistUserDefaults::defaultPath("com.zar.Vantrole"), "/srv/config/com.zar.Vantrole.plist");
  ::setenv("XDG_CONFIG_HOME", "relative/config", 1);
  EXPECT_EQ(PlistUserDefaults::defaultPath("com.zar.Vantrole"), "/home/someone/.config/com.zar.Vantrole.plist");
  ::setenv("XDG_CONFIG_HOME", "", 1);
  EXPECT_EQ(PlistUserDefaults::defaultPath("com.zar.Vantrole"), "/home/someone/.config/com.zar.Vantrole.plist");
  ::unsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(PlistUserDefaults::defaultPath("com.zar.Vantrole"), "/home/someone/.config/com.zar.Vantrole.plist");
}

TEST(PlistUserDefaultsPath, IdentifierCannotLeaveTheConfigDirectory) {
  const EnvironmentGuard guard({"XDG_CONFIG_HOME"});
  ::setenv("XDG_CONFIG_HOME", "/srv/config", 1);
  EXPECT_EQ(PlistUserDefaults::defaultPath("../../etc/x"), "/srv/config/.._.._etc_x.plist");
}

TEST(PlistUserDefaultsPath, WithoutHomeTheUserDatabaseDecides) {
  const EnvironmentGuard guard({"XDG_CONFIG_HOME", "HOME"});
  ::unsetenv("XDG_CONFIG_HOME");
  ::unsetenv("HOME");
  const std::string path = PlistUserDefaults::defaultPath("id");
  EXPECT_EQ(path.front(), '/');
  EXPECT_EQ(fs::path(path).filename(), "id.plist");
  EXPECT_EQ(fs::path(path).parent_path().filename(), ".config");
  EXPECT_NE(path, "/.config/id.plist");
}

TEST_F(PlistUserDefaultsTest, ConcurrentWritersLeaveAWholeFileWithTheLastValues) {
  constexpr int writers = 4;
  constexpr int rounds = 25;
  auto defaults = std::make_shared<PlistUserDefaults>(path, logger);
  std::atomic<bool> writing{true};
  std::atomic<int> tornReads{0};

  // A reader of the file itself must only ever see a complete property list.
  std::thread fileReader([&] {
    while (writing.load()) {
      if (fs::exists(path) && !parseFile(path)) ++tornReads;
    }
  });
  std::vector<std::thread> threads;
  for (int w = 0; w < writers; ++w) {
    threads.emplace_back([&, w] {
      for (int i = 0; i < rounds; ++i) {
        defaults->setInteger(i, "writer" + std::to_string(w));
        defaults->setInteger(w * 1000 + i, "shared");
        EXPECT_GE(defaults->integerForKey("writer" + std::to_string(w)), i);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  writing = false;
  fileReader.join();

  EXPECT_EQ(tornReads.load(), 0);
  EXPECT_EQ(entriesIn(temp.path()), std::vector<std::string>{"com.zar.Test.plist"}) << "no temporary files left";
  PlistUserDefaults restarted(path, logger);
  for (int w = 0; w < writers; ++w) {
    EXPECT_EQ(restarted.integerForKey("writer" + std::to_string(w)), rounds - 1);
  }
  EXPECT_EQ(restarted.objectForKey("shared"), defaults->objectForKey("shared")) << "the file holds the last state";
  EXPECT_TRUE(logger->entries().empty());
}

}  // namespace
