#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ZAR_DAWControl/modes/SettingsFile.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWSettings.pb.h"
#include "modes/SettingsDirectoryTest.h"

namespace {

namespace fs = std::filesystem;
using ModeList = ZAR_DAWAudioTrackModeList;
using zar::platform::LogFlag;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string listFile = "AudioTrackModeList.bin";
const std::string garbage = "\xff\xff\xff not a message";

std::shared_ptr<ZAR_DAWAudioTrackMode> makeMode(const std::string& name, const std::string& uuid) {
  auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
  mode->setName(name);
  mode->setUuid(uuid);
  return mode;
}

std::vector<std::string> namesIn(const ModeList& list) {
  std::vector<std::string> names;
  for (const auto& mode : *list.audioTrackModes()) names.push_back(mode->name().value_or("<absent>"));
  return names;
}

class ModeListTest : public zar::test::SettingsDirectoryTest {
 protected:
  // The list as the file holds it now.
  ZAR_ProtoDAWAudioTrackModeList stored() const {
    ZAR_ProtoDAWAudioTrackModeList message;
    EXPECT_TRUE(message.ParseFromString(contentOf(listFile).value_or("\xff")));
    return message;
  }
  const std::vector<std::string> defaults{"Play", "Mute", "Input", "Record"};
};

TEST_F(ModeListTest, FirstStartWritesTheFourDefaultsAndTheSecondStartReadsTheSameOnes) {
  const ModeList first;
  ASSERT_EQ(namesIn(first), defaults);
  const int play = ZAR_DAWTrackStatePlay, mute = ZAR_DAWTrackStateMute, input = ZAR_DAWTrackStateInput;
  const std::vector<std::vector<int>> states = {{play, play, play}, {mute, mute, mute}, {input, input, input}, {input, 3, input}};
  const ModeList second;
  ASSERT_EQ(namesIn(second), defaults);
  for (std::size_t i = 0; i < 4; ++i) {
    const auto& mode = *(*first.audioTrackModes())[i];
    EXPECT_EQ((std::vector<int>{mode.beforeState(), mode.duringState(), mode.afterState()}), states[i]) << i;
    EXPECT_NE((*second.audioTrackModes())[i].get(), &mode);
    EXPECT_EQ((*second.audioTrackModes())[i]->uuid(), mode.uuid());
  }
}

TEST_F(ModeListTest, EmptyFilesAreEmptyListsWithoutDefaults) {
  putFile(listFile, "");
  {
    ModeList list;
    EXPECT_TRUE(list.audioTrackModes()->empty());
    list.addAudioTrackMode(makeMode("Only", "uuid-only"));
    list.removeAudioTrackMode(list.audioTrackModes()->back());
  }
  EXPECT_EQ(contentOf(listFile), "") << "removing the last mode writes an empty list";
  EXPECT_TRUE(ModeList().audioTrackModes()->empty());
}

TEST_F(ModeListTest, UnreadableFileIsKeptAsideAtOnceAndLeftUntilTheFirstWriteOverIt) {
  std::string truncated;  // a real file cut short is as unreadable as noise
  {
    const ModeList written;
    truncated = contentOf(listFile)->substr(0, 30);
  }
  ZAR_ProtoDAWAudioTrackModeList huge;  // parses, but is no settings file
  huge.add_modes()->set_name(std::string(zar::modes::SettingsFile::maximumSize, 'n'));
  for (const std::string& content : {garbage, truncated, huge.SerializeAsString()}) {
    SCOPED_TRACE(content.size());
    for (const auto& name : entries()) fs::remove(path(name));
    logger->clear();
    putFile(listFile, content);
    ModeList list;
    EXPECT_TRUE(list.audioTrackModes()->empty());
    EXPECT_EQ(contentOf(listFile), content) << "left as it is";
    ASSERT_THAT(entries(), ElementsAre(listFile, testing::StartsWith(listFile + ".unreadable-")));
    const std::string copy = entries()[1];
    EXPECT_EQ(contentOf(copy), content) << "the copy holds the old bytes";
    EXPECT_THAT(logged(LogFlag::error), ElementsAre(HasSubstr(path(copy))));

    ModeList again;  // the same file found again makes no second copy
    list.addAudioTrackMode(makeMode("Voice", "uuid-voice"));
    list.addAudioTrackMode(makeMode("Foley", "uuid-foley"));
    EXPECT_THAT(entries(), ElementsAre(listFile, listFile + ".last-saved", copy));
    EXPECT_EQ(stored().modes_size(), 2);
  }
}

TEST_F(ModeListTest, FailedWritesAreLoggedOnceUntilAWriteWorksAgain) {
  files->failWrites = "No space left on device";
  ModeList list;  // the first start's defaults can't be written
  list.addAudioTrackMode(makeMode("Kept", "uuid-kept"));
  list.removeAudioTrackModesAtIndexes({0});
  EXPECT_EQ(namesIn(list), (std::vector<std::string>{"Mute", "Input", "Record", "Kept"})) << "held in memory";
  EXPECT_FALSE(contentOf(listFile).has_value());
  EXPECT_THAT(logged(LogFlag::error), ElementsAre(HasSubstr(path(listFile) + ": No space left on device")));

  files->failWrites.clear();
  list.saveChanges();
  EXPECT_EQ(stored().modes_size(), 4);
  EXPECT_EQ(logged(LogFlag::warning).size(), 1u) << "written again";
  files->failWrites = "Read-only file system";
  list.saveChanges();
  list.saveChanges();
  EXPECT_EQ(logged(LogFlag::error).size(), 2u) << "a new run of failures is logged again";
}

TEST_F(ModeListTest, UnreadableFileThatCantBeKeptAsideIsNotWrittenOver) {
  putFile(listFile, garbage);
  files->failKeepAside = "Operation not permitted";
  ModeList list;
  list.addAudioTrackMode(makeMode("Voice", "uuid-voice"));
  list.addAudioTrackMode(makeMode("Foley", "uuid-foley"));
  EXPECT_EQ(contentOf(listFile), garbage);
  EXPECT_THAT(logged(LogFlag::error), ElementsAre(testing::_, HasSubstr("Operation not permitted")))
      << "the unreadable file, then the refused write once";
  files->failKeepAside.clear();
  list.saveChanges();
  EXPECT_EQ(stored().modes_size(), 2);
  ASSERT_EQ(entries().size(), 3u);
  EXPECT_EQ(contentOf(entries()[2]), garbage) << "kept before the first write that works";
}

TEST_F(ModeListTest, FifoOrDeviceInPlaceOfTheFileIsNeitherWaitedForNorReplaced) {
  ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0600), 0);
  for (const std::string& target : {path("fifo"), std::string("/dev/null")}) {
    SCOPED_TRACE(target);
    fs::remove(path(listFile));
    fs::create_symlink(target, path(listFile));
    logger->clear();
    ModeList list;  // would hang on the FIFO if it opened it for reading and waited
    EXPECT_TRUE(list.audioTrackModes()->empty());
    list.addAudioTrackMode(makeMode("Voice", "uuid-voice"));
    list.saveChanges();
    EXPECT_FALSE(fs::is_regular_file(target));
    EXPECT_TRUE(fs::is_symlink(path(listFile)));
    EXPECT_EQ(logged(LogFlag::error).size(), 2u) << "refused to read, refused to write (once)";
  }
}

TEST_F(ModeListTest, NullUuidNeverEntersTheList) {
  ZAR_ProtoDAWAudioTrackModeList message;
  message.add_modes()->set_name("Silence");
  message.mutable_modes(0)->set_uuid(ZAR_DAWAudioTrackModeNullUUID);
  message.add_modes()->set_name("Voice");
  putFile(listFile, message.SerializeAsString());
  ModeList list;
  EXPECT_EQ(namesIn(list), std::vector<std::string>{"Voice"});
  EXPECT_THAT(logged(LogFlag::error), ElementsAre(HasSubstr("Silence")));

  list.addAudioTrackMode(makeMode("Again", ZAR_DAWAudioTrackModeNullUUID));
  list.addAudioTrackMode(ZAR_DAWAudioTrackMode::nullTrackMode());
  list.addAudioTrackMode(nullptr);
  EXPECT_EQ(namesIn(list), std::vector<std::string>{"Voice"});
  EXPECT_EQ(contentOf(listFile), message.SerializeAsString()) << "refused additions write nothing";
  EXPECT_EQ(logged(LogFlag::error).size(), 3u);
}

TEST_F(ModeListTest, LookupFindsTheFrontmostExactMatchOrElseTheNullMode) {
  ModeList list;
  const auto first = makeMode("First", "dup");
  list.addAudioTrackMode(first);
  list.addAudioTrackMode(makeMode("Second", "dup"));
  list.addAudioTrackMode(makeMode("NoUuid", "x"));
  list.audioTrackModes()->back()->setUuid(std::nullopt);
  list.addAudioTrackMode(makeMode("Renamed", "later"));
  list.audioTrackModes()->back()->setUuid(ZAR_DAWAudioTrackModeNullUUID);  // given the null uuid after adding
  list.internalModeList()->push_back(nullptr);  // absent entries are passed over by lookups and saves
  const auto none = ZAR_DAWAudioTrackMode::nullTrackMode();
  EXPECT_EQ(list.modeWithUUID(std::nullopt), none);
  const std::vector<std::string> uuids = {"dup", "DUP", "du", "unknown", "", ZAR_DAWAudioTrackModeNullUUID,
                                          *(*list.audioTrackModes())[3]->uuid()};
  const auto resolved = list.modesWithUUIDs(uuids);
  const std::shared_ptr<ZAR_DAWAudioTrackMode> expected[] = {first, none, none, none, none, none,
                                                             (*list.audioTrackModes())[3]};
  for (std::size_t i = 0; i < uuids.size(); ++i) {
    EXPECT_EQ(resolved[i], expected[i]) << uuids[i];
    EXPECT_EQ(list.modeWithUUID(uuids[i]), expected[i]) << uuids[i];
  }
  list.saveChanges();
  EXPECT_EQ(stored().modes_size(), 8);
}

TEST_F(ModeListTest, RemovalsCountPositionsBeforeTheCallAndRefuseOutsideTheList) {
  ModeList list;
  const auto twice = makeMode("Twice", "uuid-twice");
  list.addAudioTrackMode(twice);
  list.addAudioTrackMode(makeMode("Twice", "uuid-twice"));  // equal, but another object
  list.addAudioTrackMode(twice);
  list.removeAudioTrackMode(twice);
  EXPECT_EQ(namesIn(list), (std::vector<std::string>{"Play", "Mute", "Input", "Record", "Twice"}));
  EXPECT_TRUE(list.removeAudioTrackModesAtIndexes({0, 2}));
  EXPECT_EQ(namesIn(list), (std::vector<std::string>{"Mute", "Record", "Twice"}));
  EXPECT_EQ(stored().modes_size(), 3);

  putFile(listFile, garbage);
  EXPECT_FALSE(list.removeAudioTrackModesAtIndexes({1, 3}));
  EXPECT_EQ(contentOf(listFile), garbage) << "a refused removal writes nothing";
  list.removeAudioTrackMode(makeMode("Stranger", "uuid-stranger"));
  EXPECT_EQ(stored().modes_size(), 3) << "removing a stranger still saves";
}

}  // namespace
