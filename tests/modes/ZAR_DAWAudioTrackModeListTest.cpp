#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "ZAR_DAWControl/modes/SettingsFile.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWSettings.pb.h"
#include "modes/SettingsDirectoryTest.h"

namespace {

using ModeList = ZAR_DAWAudioTrackModeList;
using zar::test::SettingsDirectoryTest;

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

class ModeListTest : public SettingsDirectoryTest {
 protected:
  // The list as the file holds it now.
  ZAR_ProtoDAWAudioTrackModeList stored() const {
    ZAR_ProtoDAWAudioTrackModeList message;
    const auto content = contentOf(listFile);
    EXPECT_TRUE(content.has_value());
    EXPECT_TRUE(message.ParseFromString(content.value_or("")));
    return message;
  }
};

TEST_F(ModeListTest, FirstStartWritesTheFourDefaultsAndTheSecondStartReadsTheSameOnes) {
  const ModeList first;
  ASSERT_EQ(namesIn(first), (std::vector<std::string>{"Play", "Mute", "Input", "Record"}));
  const auto& modes = *first.audioTrackModes();
  const ZAR_DAWTrackState expected[4][3] = {
      {ZAR_DAWTrackStatePlay, ZAR_DAWTrackStatePlay, ZAR_DAWTrackStatePlay},
      {ZAR_DAWTrackStateMute, ZAR_DAWTrackStateMute, ZAR_DAWTrackStateMute},
      {ZAR_DAWTrackStateInput, ZAR_DAWTrackStateInput, ZAR_DAWTrackStateInput},
      {ZAR_DAWTrackStateInput, ZAR_DAWTrackStateRecord, ZAR_DAWTrackStateInput}};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(modes[i]->beforeState(), expected[i][0]) << i;
    EXPECT_EQ(modes[i]->duringState(), expected[i][1]) << i;
    EXPECT_EQ(modes[i]->afterState(), expected[i][2]) << i;
  }
  EXPECT_EQ(stored().modes_size(), 4);

  const ModeList second;
  ASSERT_EQ(namesIn(second), namesIn(first));
  for (std::size_t i = 0; i < 4; ++i) {
    const auto& again = (*second.audioTrackModes())[i];
    EXPECT_NE(again, modes[i]);
    EXPECT_EQ(again->uuid(), modes[i]->uuid());
    EXPECT_EQ(again->duringState(), modes[i]->duringState());
  }
}

TEST_F(ModeListTest, ZeroByteFileIsAnEmptyListAndBringsNoDefaults) {
  putFile(listFile, "");
  const ModeList list;
  EXPECT_TRUE(list.audioTrackModes()->empty());
  EXPECT_EQ(contentOf(listFile), "");
}

TEST_F(ModeListTest, FileThatDoesNotParseIsLeftAsItIsUntilTheNextSave) {
  // A truncated real file is as unreadable as noise.
  std::string truncated;
  {
    const ModeList written;
    truncated = contentOf(listFile)->substr(0, 30);
  }
  for (const std::string& content : {garbage, truncated}) {
    putFile(listFile, content);
    ModeList list;
    EXPECT_TRUE(list.audioTrackModes()->empty());
    EXPECT_EQ(contentOf(listFile), content);

    list.addAudioTrackMode(makeMode("Voice", "uuid-voice"));
    ASSERT_EQ(stored().modes_size(), 1);
    EXPECT_EQ(stored().modes(0).name(), "Voice");
  }
}

TEST_F(ModeListTest, OversizedFileIsNotTakenEvenWhenItParses) {
  ZAR_ProtoDAWAudioTrackModeList message;
  message.add_modes()->set_name(std::string(zar::modes::SettingsFile::maximumSize, 'n'));
  const std::string content = message.SerializeAsString();
  putFile(listFile, content);
  const ModeList list;
  EXPECT_TRUE(list.audioTrackModes()->empty());
  EXPECT_EQ(contentOf(listFile)->size(), content.size());
}

TEST_F(ModeListTest, RemovingTheLastModeLeavesAnEmptyFileAndAnEmptyNextStart) {
  {
    ModeList list;
    while (!list.audioTrackModes()->empty()) list.removeAudioTrackMode(list.audioTrackModes()->back());
  }
  EXPECT_EQ(contentOf(listFile), "");
  const ModeList next;
  EXPECT_TRUE(next.audioTrackModes()->empty());
}

TEST_F(ModeListTest, LookupFindsTheFrontmostExactMatchOrElseTheNullMode) {
  ModeList list;
  const auto first = makeMode("First", "dup");
  const auto second = makeMode("Second", "dup");
  list.addAudioTrackMode(first);
  list.addAudioTrackMode(second);
  const auto none = ZAR_DAWAudioTrackMode::nullTrackMode();

  EXPECT_EQ(list.modeWithUUID("dup"), first);
  EXPECT_EQ(list.modeWithUUID("DUP"), none) << "case-sensitive";
  EXPECT_EQ(list.modeWithUUID("du"), none);
  EXPECT_EQ(list.modeWithUUID("unknown"), none);
  EXPECT_EQ(list.modeWithUUID(ZAR_DAWAudioTrackModeNullUUID), none);
  EXPECT_EQ(list.modeWithUUID(std::nullopt), none);

  // A mode without a uuid matches neither absent nor empty text.
  list.addAudioTrackMode(makeMode("NoUuid", ""));
  list.audioTrackModes()->back()->setUuid(std::nullopt);
  EXPECT_EQ(list.modeWithUUID(""), none);
  EXPECT_EQ(list.modeWithUUID(std::nullopt), none);

  // Resolving many at once agrees with resolving them one by one.
  const std::vector<std::string> uuids = {"dup", "unknown", ZAR_DAWAudioTrackModeNullUUID, "", "DUP",
                                          *(*list.audioTrackModes())[3]->uuid(), "dup"};
  const auto resolved = list.modesWithUUIDs(uuids);
  ASSERT_EQ(resolved.size(), uuids.size());
  for (std::size_t i = 0; i < uuids.size(); ++i) {
    EXPECT_EQ(resolved[i], list.modeWithUUID(uuids[i])) << uuids[i];
  }
  EXPECT_EQ(resolved[0], first);
  EXPECT_EQ(resolved[5], (*list.audioTrackModes())[3]);
}

TEST_F(ModeListTest, RemovingAModeRemovesEveryOccurrenceAndAlwaysSaves) {
  ModeList list;
  const auto twice = makeMode("Twice", "uuid-twice");
  list.addAudioTrackMode(twice);
  list.addAudioTrackMode(makeMode("Twice", "uuid-twice"));  // equal, but another object
  list.addAudioTrackMode(twice);
  list.removeAudioTrackMode(twice);
  EXPECT_EQ(namesIn(list), (std::vector<std::string>{"Play", "Mute", "Input", "Record", "Twice"}));
  EXPECT_EQ(stored().modes_size(), 5);

  putFile(listFile, garbage);
  list.removeAudioTrackMode(makeMode("Stranger", "uuid-stranger"));
  EXPECT_EQ(namesIn(list).size(), 5u);
  EXPECT_EQ(stored().modes_size(), 5) << "the file is written even though nothing was removed";
}

TEST_F(ModeListTest, RemovingByIndexesCountsPositionsBeforeTheCall) {
  ModeList list;
  EXPECT_TRUE(list.removeAudioTrackModesAtIndexes({0, 2}));
  EXPECT_EQ(namesIn(list), (std::vector<std::string>{"Mute", "Record"}));
  EXPECT_EQ(stored().modes_size(), 2);
  EXPECT_TRUE(list.removeAudioTrackModesAtIndexes({}));
  EXPECT_EQ(namesIn(list).size(), 2u);
}

TEST_F(ModeListTest, RefusedChangesWriteNothing) {
  ModeList list;
  putFile(listFile, garbage);
  EXPECT_FALSE(list.removeAudioTrackModesAtIndexes({1, 4}));
  list.addAudioTrackMode(nullptr);
  EXPECT_EQ(namesIn(list).size(), 4u);
  EXPECT_EQ(contentOf(listFile), garbage);
}

TEST_F(ModeListTest, ModesSurviveARestartWithOddValuesIntact) {
  {
    ModeList list;
    auto odd = makeMode("Caf\xC3\xA9 \xF0\x9F\x8E\xAC", "uuid-odd");
    odd->setBeforeState(static_cast<ZAR_DAWTrackState>(42));
    odd->setAfterState(static_cast<ZAR_DAWTrackState>(-3));
    list.addAudioTrackMode(odd);
  }
  const ModeList next;
  const auto odd = next.modeWithUUID("uuid-odd");
  ASSERT_NE(odd, ZAR_DAWAudioTrackMode::nullTrackMode());
  EXPECT_EQ(odd->name(), "Caf\xC3\xA9 \xF0\x9F\x8E\xAC");
  EXPECT_EQ(odd->beforeState(), 42);
  EXPECT_EQ(odd->duringState(), ZAR_DAWTrackStatePlay);
  EXPECT_EQ(odd->afterState(), -3);
  EXPECT_EQ(namesIn(next).back(), "Caf\xC3\xA9 \xF0\x9F\x8E\xAC");
}

TEST_F(ModeListTest, TheModeSequenceIsLiveAndCanBeReplaced) {
  ModeList list;
  const auto view = list.audioTrackModes();
  list.addAudioTrackMode(makeMode("Later", "uuid-later"));
  EXPECT_EQ(view->size(), 5u);

  auto replacement = std::make_shared<ModeList::ModeSequence>();
  replacement->push_back(nullptr);  // tolerated: passed over by lookups and saves
  replacement->push_back(makeMode("Only", "uuid-only"));
  list.setInternalModeList(replacement);
  EXPECT_EQ(list.internalModeList(), replacement);
  EXPECT_EQ(list.modeWithUUID("uuid-only"), (*replacement)[1]);
  list.saveChanges();
  ASSERT_EQ(stored().modes_size(), 1);
  EXPECT_EQ(stored().modes(0).name(), "Only");

  list.setInternalModeList(nullptr);
  EXPECT_TRUE(list.audioTrackModes()->empty());
}

TEST(ModeListWithoutFiles, FailedWritesLeaveTheListInMemoryAsItIs) {
  zar::test::TemporaryDirectory temp;
  // A regular file where the support directory should be: every write into it fails.
  std::ofstream(temp.file("blocked")) << "in the way";
  const auto previous = zar::platform::Platform::current();
  auto blocked = std::make_shared<zar::platform::Platform>();
  blocked->fileUtility = std::make_shared<zar::native::LocalFileUtility>(temp.file("blocked"));
  zar::platform::Platform::install(blocked);
  {
    ModeList list;
    list.addAudioTrackMode(makeMode("Kept", "uuid-kept"));
    EXPECT_EQ(namesIn(list), (std::vector<std::string>{"Play", "Mute", "Input", "Record", "Kept"}));
  }
  // Without any file utility there is no file at all: the defaults, held in memory only.
  zar::platform::Platform::install(std::make_shared<zar::platform::Platform>());
  {
    const ModeList list;
    EXPECT_EQ(namesIn(list).size(), 4u);
  }
  zar::platform::Platform::install(previous);
}

}  // namespace
