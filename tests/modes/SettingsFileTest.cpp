// What survives damage to the two settings files, on the simulated desktop's files in memory and
// on real ones: damage that still parses, the copy of the last save beside each file, a damaged
// list with a good matrix, and what the host is told.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/SavedCopy.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/modes/ZAR_DAWSettings.pb.h"
#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "ZAR_DAWControl/platform/linux/SynchronousNotificationCenter.h"
#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"
#include "modes/SettingsDirectoryTest.h"

// Named apart: the unity builds put this file in one unit with the list's and the matrix's tests.
namespace settings_file_test {

using zar::modes::SavedCopy;
using Event = ZAR_DAWSettingsFileStatus::Event;
using ModeList = ZAR_DAWAudioTrackModeList;
using Matrix = ZAR_DAWMuteRecMatrix;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string listFile = ModeList::fileName;
const std::string matrixFile = Matrix::fileName;

// Parameter: true for real files in a temporary directory, false for the simulated desktop's.
class SettingsFileTest : public testing::TestWithParam<bool> {
 protected:
  SettingsFileTest() {
    auto platform = std::make_shared<zar::platform::Platform>();
    platform->fileUtility = files;
    platform->logger = std::make_shared<zar::test::CapturingLogger>();
    platform->notificationCenter = center;
    zar::platform::Platform::install(platform);
  }
  ~SettingsFileTest() override { zar::platform::Platform::install(_previous); }

  std::string path(const std::string& name) const { return directory.file(name); }
  std::string contentOf(const std::string& name) const { return files->readFile(path(name)).value_or("<none>"); }
  void put(const std::string& name, const std::string& content) const {
    ASSERT_TRUE(files->write(path(name), content).done);
  }
  /// A copy put back as dawctl settings restore does: the content, and the copy of a save with it.
  void restore(const std::string& name, const std::string& content) const {
    put(name + ".last-saved", SavedCopy::encode(content));
    put(name, content);
  }
  /// The names in the directory.
  std::vector<std::string> names() const {
    if (GetParam()) return directory.entries();
    std::vector<std::string> found;
    for (const auto& [where, content] : memory->files()) found.push_back(std::filesystem::path(where).filename());
    return found;
  }
  std::vector<ZAR_DAWSettingsFileStatus> takeTold() { return std::exchange(told, {}); }

  zar::test::TemporaryDirectory directory;
  std::shared_ptr<zar::sim::MemoryFileUtility> memory = std::make_shared<zar::sim::MemoryFileUtility>(directory.path());
  std::shared_ptr<zar::test::FaultyFiles> files =
      GetParam() ? std::make_shared<zar::test::FaultyFiles>(directory.path())
                 : std::make_shared<zar::test::FaultyFiles>(std::shared_ptr<zar::platform::FileUtility>(memory));
  std::shared_ptr<zar::native::SynchronousNotificationCenter> center =
      std::make_shared<zar::native::SynchronousNotificationCenter>();
  std::vector<ZAR_DAWSettingsFileStatus> told;
  zar::platform::NotificationObservation observation{
      center, ZAR_DAWSettingsFileStatusNotification,
      [this](const zar::platform::Notification& notification) {
        told.push_back(std::any_cast<ZAR_DAWSettingsFileStatus>(notification.object));
      }};

 private:
  std::shared_ptr<const zar::platform::Platform> _previous = zar::platform::Platform::current();
};

INSTANTIATE_TEST_SUITE_P(Files, SettingsFileTest, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& files) { return files.param ? "Real" : "Simulated"; });

std::vector<std::string> namesIn(const ModeList& list) {
  std::vector<std::string> names;
  for (const auto& mode : *list.audioTrackModes()) names.push_back(mode->name().value_or(""));
  return names;
}

TEST_P(SettingsFileTest, DamageThatStillParsesIsFoundKeptAsideAndTheLastSaveCanComeBack) {
  std::vector<std::string> saved;
  {
    ModeList list;
    for (int i = 0; i < 6; ++i) {
      auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
      mode->setName("Mode " + std::to_string(i));
      list.addAudioTrackMode(mode);
    }
    saved = namesIn(list);
  }
  const std::string good = contentOf(listFile);
  ZAR_ProtoDAWAudioTrackModeList shorter;
  ASSERT_TRUE(shorter.ParseFromString(good));
  shorter.mutable_modes()->RemoveLast();  // cut at a message boundary
  std::string flipped = good;
  flipped[flipped.find("Mode 3") + 5] ^= 0x01;  // "Mode 2" inside a name
  for (const std::string& damaged : {shorter.SerializeAsString(), flipped}) {
    SCOPED_TRACE(damaged.size());
    ZAR_ProtoDAWAudioTrackModeList parsed;
    ASSERT_TRUE(parsed.ParseFromString(damaged)) << "damage that still parses";
    files->write(path(listFile), damaged);  // the copy of the save stays beside it
    takeTold();
    const ModeList list;
    EXPECT_TRUE(list.audioTrackModes()->empty()) << "not taken as it is";
    EXPECT_EQ(contentOf(listFile), damaged) << "left as it is";
    const auto statuses = takeTold();
    ASSERT_EQ(statuses.size(), 1u);
    const ZAR_DAWSettingsFileStatus& status = statuses[0];
    EXPECT_EQ(status.event, Event::damaged);
    EXPECT_EQ(status.path, path(listFile));
    EXPECT_THAT(status.description, HasSubstr("is not what was last saved there"));
    EXPECT_THAT(status.description, HasSubstr(status.keptCopyPath));
    EXPECT_EQ(files->readFile(status.keptCopyPath), damaged);
    const auto last = SavedCopy::decode(files->readFile(status.lastSavedCopyPath).value_or(""));
    ASSERT_TRUE(last.has_value());
    EXPECT_EQ(last->content, good);
    EXPECT_THAT(list.settingsFileStatuses(), ElementsAre(testing::Field(&ZAR_DAWSettingsFileStatus::path, path(listFile))));

    const auto before = names();
    ModeList().addAudioTrackMode(std::make_shared<ZAR_DAWAudioTrackMode>());  // found again, then saved over
    EXPECT_EQ(names().size(), before.size()) << "the same file found again is not copied again";
    EXPECT_EQ(SavedCopy::decode(files->readFile(status.lastSavedCopyPath).value_or(""))->content, good)
        << "the next save keeps the copy it replaces";

    restore(listFile, last->content);
    takeTold();
    EXPECT_EQ(namesIn(ModeList()), saved);
    EXPECT_TRUE(takeTold().empty());
  }
}

TEST_P(SettingsFileTest, WhatSitsBesideTheFileNeverMakesDamageOfASoundFile) {
  { const ModeList first; }
  const std::string good = contentOf(listFile);
  ZAR_ProtoDAWAudioTrackModeList other;
  other.add_modes()->set_name("From elsewhere");
  other.mutable_modes(0)->set_uuid("uuid-elsewhere");
  const std::string elsewhere = other.SerializeAsString();
  struct Case {
    const char* what;
    std::string file;
    std::optional<std::string> beside;  // nothing: no copy beside the file
    std::vector<std::string> names;
  } cases[] = {
      {"a file from another machine", elsewhere, std::nullopt, {"From elsewhere"}},
      {"a damaged copy beside it", good, std::string("ZAR_DAWControl last saved settings 1\nlength 3"),
       {"Play", "Mute", "Input", "Record"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    files->remove(path(listFile));
    files->remove(path(listFile + ".last-saved"));
    if (!c.file.empty()) put(listFile, c.file);
    if (c.beside) put(listFile + ".last-saved", *c.beside);
    takeTold();
    EXPECT_EQ(namesIn(ModeList()), c.names);
    EXPECT_TRUE(takeTold().empty());
  }
  // A copy that can't be written (a full disk) is removed rather than left to name an older save.
  files->failWrites = "No space left on device";
  files->failWritesEndingWith = ".last-saved";
  ModeList list;
  list.addAudioTrackMode(std::make_shared<ZAR_DAWAudioTrackMode>());
  EXPECT_FALSE(files->fileExists(path(listFile + ".last-saved")));
  files->failWrites.clear();
  takeTold();
  EXPECT_EQ(ModeList().audioTrackModes()->size(), list.audioTrackModes()->size());
  EXPECT_TRUE(takeTold().empty());
}

TEST_P(SettingsFileTest, SavesThatFailAreToldOnceAndAgainWhenTheyWork) {
  files->failWrites = "Permission denied";  // an unwritable folder: the defaults can't be saved
  ModeList list;
  list.addAudioTrackMode(std::make_shared<ZAR_DAWAudioTrackMode>());
  list.saveChanges();
  auto statuses = takeTold();
  ASSERT_EQ(statuses.size(), 1u) << "once for the run of failed saves";
  EXPECT_EQ(statuses[0].event, Event::notWritten);
  EXPECT_THAT(statuses[0].description, HasSubstr(path(listFile) + ": Permission denied"));
  EXPECT_THAT(statuses[0].description, HasSubstr("lost when the host quits"));
  EXPECT_EQ(list.settingsFileStatuses().size(), 1u);

  files->failWrites.clear();
  list.saveChanges();
  list.saveChanges();
  statuses = takeTold();
  ASSERT_EQ(statuses.size(), 1u);
  EXPECT_EQ(statuses[0].event, Event::writtenAgain);
  EXPECT_TRUE(list.settingsFileStatuses().empty());
  EXPECT_EQ(ModeList().audioTrackModes()->size(), 5u) << "the modes made while it failed";
}

// One damaged byte in the list once cost every assignment: the matrix read none of its modes and
// the next assignment wrote it back all null.
TEST_P(SettingsFileTest, DamagedListWithAGoodMatrixLosesNoAssignment) {
  for (const bool copiesBeside : {true, false}) {
    SCOPED_TRACE(copiesBeside ? "copies of the saves beside the files" : "files without copies beside them");
    for (const auto& name : names()) files->remove(path(name));
    {
      auto list = std::make_shared<ModeList>();
      Matrix matrix(list);
      for (std::int32_t track = 0; track < 10; ++track) {
        matrix.setRehearseMode((*list->audioTrackModes())[1], track);
        matrix.setRecordMode((*list->audioTrackModes())[3], track);
        matrix.setReviewMode((*list->audioTrackModes())[2], track);
      }
    }
    const std::string goodList = contentOf(listFile);
    if (!copiesBeside) {
      files->remove(path(listFile + ".last-saved"));
      files->remove(path(matrixFile + ".last-saved"));
    }
    files->write(path(listFile), "\xff" + goodList.substr(1));
    takeTold();
    std::string keptMatrix;
    {
      auto list = std::make_shared<ModeList>();
      Matrix matrix(list);
      EXPECT_TRUE(list->audioTrackModes()->empty());
      const auto statuses = takeTold();
      ASSERT_EQ(statuses.size(), 2u);
      EXPECT_EQ(statuses[0].event, Event::damaged);
      EXPECT_EQ(statuses[1].event, Event::modesNotFound);
      EXPECT_EQ(statuses[1].path, path(matrixFile));
      EXPECT_THAT(statuses[1].description, HasSubstr("30 of its assignments name modes"));
      keptMatrix = files->readFile(statuses[1].keptCopyPath).value_or("");
      if (copiesBeside) {
        EXPECT_EQ(SavedCopy::decode(files->readFile(statuses[0].lastSavedCopyPath).value_or(""))->content, goodList);
      }
      auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
      list->addAudioTrackMode(mode);
      matrix.setRecordMode(mode, 40);  // writes the matrix over, all null but one
    }
    // Both brought back, from the copies the host was told of.
    restore(listFile, goodList);
    restore(matrixFile, keptMatrix);
    auto list = std::make_shared<ModeList>();
    const Matrix matrix(list);
    for (std::int32_t track = 0; track < 10; ++track) {
      EXPECT_EQ(matrix.rehearseModeAtTrackIndex(track)->name(), "Mute") << track;
      EXPECT_EQ(matrix.recordModeAtTrackIndex(track)->name(), "Record") << track;
      EXPECT_EQ(matrix.reviewModeAtTrackIndex(track)->name(), "Input") << track;
    }
  }
}

TEST(SavedCopy, OnlyAWholeCopyWhoseChecksumHoldsIsTaken) {
  const std::string content = std::string("\x0a\x05Voice\x12", 8) + std::string(1, '\0');
  const std::string bytes = SavedCopy::encode(content);
  ASSERT_EQ(SavedCopy::decode(bytes).value_or(SavedCopy{}).content, content);
  EXPECT_EQ(SavedCopy::decode(SavedCopy::encode("")).value_or(SavedCopy{"x"}).content, "");
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    EXPECT_FALSE(SavedCopy::decode(bytes.substr(0, cut)).has_value()) << cut;
  }
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    std::string flipped = bytes;
    flipped[at] ^= 0x04;
    EXPECT_FALSE(SavedCopy::decode(flipped).has_value()) << at;
  }
  EXPECT_FALSE(SavedCopy::decode(bytes + "x").has_value());
}

}  // namespace settings_file_test
