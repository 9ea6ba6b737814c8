#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/modes/ZAR_DAWSettings.pb.h"
#include "modes/SettingsDirectoryTest.h"

namespace {

using Matrix = ZAR_DAWMuteRecMatrix;
using ModeList = ZAR_DAWAudioTrackModeList;

const std::string matrixFile = "RecMuteMatrix.bin";
const std::string garbage = "\x0a\xff\xff\xff broken";

class MatrixTest : public zar::test::SettingsDirectoryTest {
 protected:
  ZAR_ProtoDAWMuteRecMatrix stored() const {
    ZAR_ProtoDAWMuteRecMatrix message;
    EXPECT_TRUE(message.ParseFromString(contentOf(matrixFile).value_or("\xff")));
    return message;
  }

  // A matrix file whose three lists all hold `uuids`.
  void putMatrix(const std::vector<std::string>& uuids) const {
    ZAR_ProtoDAWMuteRecMatrix message;
    for (const auto& uuid : uuids) {
      message.add_rehearsemodeuuids(uuid);
      message.add_recordmodeuuids(uuid);
      message.add_reviewmodeuuids(uuid);
    }
    putFile(matrixFile, message.SerializeAsString());
  }

  static std::shared_ptr<ZAR_DAWAudioTrackMode> mode(const ModeList& list, std::size_t position) {
    return (*list.audioTrackModes())[position];
  }

  const std::shared_ptr<ZAR_DAWAudioTrackMode> none = ZAR_DAWAudioTrackMode::nullTrackMode();
};

TEST_F(MatrixTest, FirstStartIsAllNullAndWritesThreeTimesSixtyFourNullUuids) {
  const auto list = std::make_shared<ModeList>();
  const Matrix matrix(list);
  for (std::int32_t track = 0; track < 64; ++track) {
    EXPECT_EQ(matrix.rehearseModeAtTrackIndex(track), none);
    EXPECT_EQ(matrix.recordModeAtTrackIndex(track), none);
    EXPECT_EQ(matrix.reviewModeAtTrackIndex(track), none);
  }
  const auto message = stored();
  ASSERT_EQ(message.rehearsemodeuuids_size(), 64);
  ASSERT_EQ(message.recordmodeuuids_size(), 64);
  ASSERT_EQ(message.reviewmodeuuids_size(), 64);
  for (int i = 0; i < 64; ++i) {
    EXPECT_EQ(message.rehearsemodeuuids(i), ZAR_DAWAudioTrackModeNullUUID);
    EXPECT_EQ(message.recordmodeuuids(i), ZAR_DAWAudioTrackModeNullUUID);
    EXPECT_EQ(message.reviewmodeuuids(i), ZAR_DAWAudioTrackModeNullUUID);
  }
}

TEST_F(MatrixTest, IndexSixtyThreeIsTheLastPositionThatExists) {
  const auto list = std::make_shared<ModeList>();
  Matrix matrix(list);
  const auto record = mode(*list, 3);
  matrix.setRecordMode(record, 63);
  EXPECT_EQ(matrix.recordModeAtTrackIndex(63), record);
  EXPECT_EQ(stored().recordmodeuuids(63), record->uuid());
  EXPECT_EQ(stored().recordmodeuuids_size(), 64);

  putFile(matrixFile, garbage);
  for (const std::int32_t outside : {64, 1000, -1, INT32_MIN}) {
    matrix.setRehearseMode(record, outside);
    matrix.setRecordMode(record, outside);
    matrix.setReviewMode(record, outside);
    EXPECT_EQ(matrix.rehearseModeAtTrackIndex(outside), nullptr) << outside;
    EXPECT_EQ(matrix.recordModeAtTrackIndex(outside), nullptr) << outside;
    EXPECT_EQ(matrix.reviewModeAtTrackIndex(outside), nullptr) << outside;
  }
  EXPECT_EQ(contentOf(matrixFile), garbage) << "nothing is written for a position that doesn't exist";
  EXPECT_EQ(matrix.recordModeAtTrackIndex(0), none);
}

TEST_F(MatrixTest, AssignmentsComeBackAfterARestartAsTheListsNewObjects) {
  std::string recordUuid;
  {
    const auto list = std::make_shared<ModeList>();
    Matrix matrix(list);
    matrix.setRehearseMode(mode(*list, 2), 0);
    matrix.setRecordMode(mode(*list, 3), 5);
    matrix.setReviewMode(mode(*list, 1), 63);
    recordUuid = *mode(*list, 3)->uuid();
  }
  const auto list = std::make_shared<ModeList>();
  const Matrix matrix(list);
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(0), mode(*list, 2));
  EXPECT_EQ(matrix.recordModeAtTrackIndex(5), mode(*list, 3));
  EXPECT_EQ(matrix.recordModeAtTrackIndex(5)->uuid(), recordUuid);
  EXPECT_EQ(matrix.reviewModeAtTrackIndex(63), mode(*list, 1));
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(5), none);
  EXPECT_EQ(matrix.recordModeAtTrackIndex(0), none);
}

TEST_F(MatrixTest, UnknownUuidsGiveTheNullModeAndBadBytesStillFindTheirMode) {
  ZAR_ProtoDAWAudioTrackModeList modes;
  modes.add_modes()->set_uuid("mode\xFF");
  modes.add_modes()->set_uuid(ZAR_DAWAudioTrackModeNullUUID);  // never taken into the list
  modes.mutable_modes(1)->set_beforestate(ZAR_DAWTrackStateMute);
  putFile("AudioTrackModeList.bin", modes.SerializeAsString());
  putMatrix({ZAR_DAWAudioTrackModeNullUUID, "no-such-mode", "mode\xFF", "mode\xFE"});
  const auto list = std::make_shared<ModeList>();
  const Matrix matrix(list);
  EXPECT_EQ(matrix.reviewModeAtTrackIndex(0), none) << "not the list file's mode with the null uuid";
  EXPECT_EQ(matrix.reviewModeAtTrackIndex(1), none);
  EXPECT_EQ(matrix.recordModeAtTrackIndex(2), mode(*list, 0));
  // Both ill-formed bytes decode alike; the list's first mode with that text wins.
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(3), mode(*list, 0));
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(4), none);
}

TEST_F(MatrixTest, FileThatDoesNotParseLeavesEveryEntryNullAndIsKeptAsideBeforeTheFirstAssignment) {
  const auto list = std::make_shared<ModeList>();
  putFile(matrixFile, garbage);
  Matrix matrix(list);
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(0), none);
  EXPECT_EQ(matrix.reviewModeAtTrackIndex(63), none);
  EXPECT_EQ(contentOf(matrixFile), garbage);

  matrix.setReviewMode(mode(*list, 0), 7);
  EXPECT_EQ(stored().reviewmodeuuids(7), mode(*list, 0)->uuid());
  const auto names = entries();
  ASSERT_EQ(names.size(), 3u);
  EXPECT_EQ(names[2].rfind(matrixFile + ".unreadable-", 0), 0u) << names[2];
  EXPECT_EQ(contentOf(names[2]), garbage);
  EXPECT_EQ(logged(zar::platform::LogFlag::error).size(), 2u);
}

TEST_F(MatrixTest, RemovedModeStaysAssignedUntilTheNextStart) {
  std::string removedUuid;
  {
    const auto list = std::make_shared<ModeList>();
    Matrix matrix(list);
    const auto removed = mode(*list, 1);
    removedUuid = *removed->uuid();
    matrix.setRecordMode(removed, 9);
    list->removeAudioTrackMode(removed);
    EXPECT_EQ(matrix.recordModeAtTrackIndex(9), removed);
    matrix.setRehearseMode(mode(*list, 0), 0);
    EXPECT_EQ(stored().recordmodeuuids(9), removedUuid) << "the next save writes its uuid again";
  }
  const auto list = std::make_shared<ModeList>();
  const Matrix matrix(list);
  EXPECT_EQ(matrix.recordModeAtTrackIndex(9), none);
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(0), mode(*list, 0));
}

TEST_F(MatrixTest, EntriesBeyondTheSixtyFourthAreIgnored) {
  const auto list = std::make_shared<ModeList>();
  std::vector<std::string> uuids(64, ZAR_DAWAudioTrackModeNullUUID);
  uuids[63] = *mode(*list, 2)->uuid();
  uuids.resize(100, *mode(*list, 3)->uuid());
  putMatrix(uuids);
  const Matrix matrix(list);
  EXPECT_EQ(matrix.recordModeAtTrackIndex(63), mode(*list, 2));
  EXPECT_EQ(matrix.recordModeAtTrackIndex(64), nullptr);
}

TEST_F(MatrixTest, PositionsThatAShortFileLacksBecomeNull) {
  const auto list = std::make_shared<ModeList>();
  Matrix matrix(list);
  matrix.setRehearseMode(mode(*list, 1), 0);
  matrix.setRehearseMode(mode(*list, 1), 40);
  putMatrix({*mode(*list, 2)->uuid(), *mode(*list, 3)->uuid()});
  matrix.restoreMatrixFromFile();
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(0), mode(*list, 2));
  EXPECT_EQ(matrix.reviewModeAtTrackIndex(1), mode(*list, 3));
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(40), none);
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(63), none);
}

TEST_F(MatrixTest, RestoringWithoutAFileClearsEveryEntryAndWritesNothing) {
  const auto list = std::make_shared<ModeList>();
  Matrix matrix(list);
  matrix.setRecordMode(mode(*list, 3), 2);
  ASSERT_EQ(std::remove(path(matrixFile).c_str()), 0);
  matrix.restoreMatrixFromFile();
  EXPECT_EQ(matrix.recordModeAtTrackIndex(2), none);
  EXPECT_FALSE(contentOf(matrixFile).has_value());
}

TEST_F(MatrixTest, NothingResolvesOnceTheListIsGone) {
  auto list = std::make_shared<ModeList>();
  Matrix matrix(list);
  matrix.setRecordMode(mode(*list, 3), 2);
  EXPECT_EQ(matrix.audioTrackModeList(), list);
  list.reset();
  EXPECT_EQ(matrix.audioTrackModeList(), nullptr) << "the matrix does not keep the list alive";
  matrix.restoreMatrixFromFile();
  EXPECT_EQ(matrix.recordModeAtTrackIndex(2), none);

  const auto replacement = std::make_shared<ModeList>();
  matrix.setAudioTrackModeList(replacement);
  EXPECT_EQ(matrix.audioTrackModeList(), replacement);
}

TEST_F(MatrixTest, AbsentModesAreStoredAsTheNullMode) {
  const auto list = std::make_shared<ModeList>();
  Matrix matrix(list);
  matrix.setReviewMode(mode(*list, 0), 4);
  matrix.setReviewMode(nullptr, 4);
  EXPECT_EQ(matrix.reviewModeAtTrackIndex(4), none);
  EXPECT_EQ(stored().reviewmodeuuids(4), ZAR_DAWAudioTrackModeNullUUID);

  Matrix::ModeColumn column;
  column[10] = mode(*list, 2);
  matrix.setRecordModes(column);
  const auto read = matrix.recordModes();
  EXPECT_EQ(read[10], mode(*list, 2));
  EXPECT_EQ(read[0], none);
  EXPECT_EQ(read[63], none);
}

}  // namespace
