#include <gmock/gmock.h>
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
const std::string unreadableMatrix = "\x0a\xff\xff\xff broken";

// The three columns' setters and getters, to try a rule on each.
const std::pair<void (Matrix::*)(std::shared_ptr<ZAR_DAWAudioTrackMode>, std::int32_t),
                std::shared_ptr<ZAR_DAWAudioTrackMode> (Matrix::*)(std::int32_t) const>
    matrixColumns[] = {{&Matrix::setRehearseMode, &Matrix::rehearseModeAtTrackIndex},
                 {&Matrix::setRecordMode, &Matrix::recordModeAtTrackIndex},
                 {&Matrix::setReviewMode, &Matrix::reviewModeAtTrackIndex}};

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
  std::shared_ptr<ZAR_DAWAudioTrackMode> mode(std::size_t position) const { return (*list->audioTrackModes())[position]; }

  std::shared_ptr<ModeList> list = std::make_shared<ModeList>();
  const std::shared_ptr<ZAR_DAWAudioTrackMode> none = ZAR_DAWAudioTrackMode::nullTrackMode();
};

TEST_F(MatrixTest, FirstStartIsAllNullAndWritesThreeTimesSixtyFourNullUuids) {
  const Matrix matrix(list);
  for (std::int32_t track = 0; track < 64; ++track) {
    for (const auto& [set, at] : matrixColumns) EXPECT_EQ((matrix.*at)(track), none) << track;
  }
  const auto written = contentOf(matrixFile);
  putMatrix(std::vector<std::string>(64, ZAR_DAWAudioTrackModeNullUUID));
  EXPECT_EQ(written, contentOf(matrixFile));
}

TEST_F(MatrixTest, IndexSixtyThreeIsTheLastPositionThatExists) {
  Matrix matrix(list);
  matrix.setRecordMode(mode(3), 63);
  EXPECT_EQ(matrix.recordModeAtTrackIndex(63), mode(3));
  EXPECT_EQ(stored().recordmodeuuids(63), mode(3)->uuid());

  putFile(matrixFile, unreadableMatrix);
  for (const std::int32_t outside : {64, 1000, -1, INT32_MIN}) {
    for (const auto& [set, at] : matrixColumns) {
      (matrix.*set)(mode(3), outside);
      EXPECT_EQ((matrix.*at)(outside), nullptr) << outside;
    }
  }
  EXPECT_EQ(contentOf(matrixFile), unreadableMatrix) << "nothing is written for a position that doesn't exist";
}

TEST_F(MatrixTest, AssignmentsComeBackAfterARestartAsTheListsNewObjects) {
  {
    Matrix matrix(list);
    matrix.setRehearseMode(mode(2), 0);
    matrix.setReviewMode(mode(1), 63);
    matrix.setReviewMode(mode(0), 4);
    matrix.setReviewMode(nullptr, 4);  // an absent mode clears the assignment
    Matrix::ModeColumn column;         // and so does an absent entry of a column
    column[10] = mode(2);
    matrix.setRecordModes(column);
    EXPECT_EQ(matrix.recordModes()[11], none);
    matrix.saveChanges();
  }
  const auto before = mode(3);
  list = std::make_shared<ModeList>();
  const Matrix matrix(list);
  EXPECT_NE(mode(3), before);
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(0), mode(2));
  EXPECT_EQ(matrix.recordModeAtTrackIndex(10), mode(2));
  EXPECT_EQ(matrix.reviewModeAtTrackIndex(63), mode(1));
  EXPECT_EQ(matrix.reviewModeAtTrackIndex(4), none);
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(5), none);
}

TEST_F(MatrixTest, UnknownUuidsGiveTheNullModeAndBadBytesStillFindTheirMode) {
  ZAR_ProtoDAWAudioTrackModeList modes;
  modes.add_modes()->set_uuid("mode\xFF");
  modes.add_modes()->set_uuid(ZAR_DAWAudioTrackModeNullUUID);  // never taken into the list
  modes.mutable_modes(1)->set_beforestate(ZAR_DAWTrackStateMute);
  putFile("AudioTrackModeList.bin", modes.SerializeAsString());
  putMatrix({ZAR_DAWAudioTrackModeNullUUID, "no-such-mode", "mode\xFF", "mode\xFE"});
  list = std::make_shared<ModeList>();
  const Matrix matrix(list);
  EXPECT_EQ(matrix.reviewModeAtTrackIndex(0), none) << "not the list file's mode with the null uuid";
  EXPECT_EQ(matrix.reviewModeAtTrackIndex(1), none);
  EXPECT_EQ(matrix.recordModeAtTrackIndex(2), mode(0));
  // Both ill-formed bytes decode alike; the list's first mode with that text wins.
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(3), mode(0));
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(4), none);
}

TEST_F(MatrixTest, FileThatDoesNotParseLeavesEveryEntryNullAndIsKeptAside) {
  putFile(matrixFile, unreadableMatrix);
  Matrix matrix(list);
  EXPECT_EQ(matrix.reviewModeAtTrackIndex(63), none);
  EXPECT_EQ(contentOf(matrixFile), unreadableMatrix);

  matrix.setReviewMode(mode(0), 7);
  EXPECT_EQ(stored().reviewmodeuuids(7), mode(0)->uuid());
  const auto names = entries();
  ASSERT_THAT(names, testing::ElementsAre(testing::_, testing::_, matrixFile, matrixFile + ".last-saved",
                                          testing::StartsWith(matrixFile + ".unreadable-")));
  EXPECT_EQ(contentOf(names[4]), unreadableMatrix);
  EXPECT_EQ(logged(zar::platform::LogFlag::error).size(), 1u);
}

TEST_F(MatrixTest, RemovedModeStaysAssignedUntilTheNextStart) {
  {
    Matrix matrix(list);
    const auto removed = mode(1);
    matrix.setRecordMode(removed, 9);
    list->removeAudioTrackMode(removed);
    EXPECT_EQ(matrix.recordModeAtTrackIndex(9), removed);
    matrix.setRehearseMode(mode(0), 0);
    EXPECT_EQ(stored().recordmodeuuids(9), removed->uuid()) << "the next save writes its uuid again";
  }
  list = std::make_shared<ModeList>();
  EXPECT_EQ(Matrix(list).recordModeAtTrackIndex(9), none);
}

TEST_F(MatrixTest, ListsLongerOrShorterThanSixtyFourAreCutOrFilledWithNull) {
  Matrix matrix(list);
  matrix.setRehearseMode(mode(1), 40);
  std::vector<std::string> uuids = {*mode(2)->uuid(), *mode(3)->uuid()};
  putMatrix(uuids);
  matrix.restoreMatrixFromFile();
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(0), mode(2));
  EXPECT_EQ(matrix.reviewModeAtTrackIndex(1), mode(3));
  EXPECT_EQ(matrix.rehearseModeAtTrackIndex(40), none);

  uuids.resize(64, ZAR_DAWAudioTrackModeNullUUID);
  uuids[63] = *mode(2)->uuid();
  uuids.resize(100, *mode(3)->uuid());
  putMatrix(uuids);
  matrix.restoreMatrixFromFile();
  EXPECT_EQ(matrix.recordModeAtTrackIndex(63), mode(2));
  EXPECT_EQ(matrix.recordModeAtTrackIndex(64), nullptr);
}

TEST_F(MatrixTest, WithoutAFileOrAListEveryEntryBecomesNullAndNothingIsWritten) {
  Matrix matrix(list);
  matrix.setRecordMode(mode(3), 2);
  ASSERT_EQ(std::remove(path(matrixFile).c_str()), 0);
  matrix.restoreMatrixFromFile();
  EXPECT_EQ(matrix.recordModeAtTrackIndex(2), none);
  EXPECT_FALSE(contentOf(matrixFile).has_value());

  matrix.setRecordMode(mode(3), 2);
  list.reset();
  EXPECT_EQ(matrix.audioTrackModeList(), nullptr) << "the matrix does not keep the list alive";
  matrix.restoreMatrixFromFile();
  EXPECT_EQ(matrix.recordModeAtTrackIndex(2), none);
}

}  // namespace
