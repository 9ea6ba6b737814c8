#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ZAR_DAWControl/passes/PassLog.h"
#include "ZAR_DAWControl/platform/sim/MemoryFileUtility.h"
#include "modes/SettingsDirectoryTest.h"

namespace pass_log_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using zar::passes::PassLog;
using zar::platform::FileRead;
using zar::platform::LogFlag;

std::shared_ptr<const ZAR_DAWPassRecord> pass(std::uint64_t number) {
  auto record = std::make_shared<ZAR_DAWPassRecord>();
  record->number = number;
  record->startedAt = "2026-11-25T14:03:07Z";
  record->mode = ZAR_DAWModeRecord;
  record->cue.cueNumber = "12A";
  record->tracks.push_back(ZAR_DAWPassRecord::Track{0, "Dialog 1", true, "Record", {ZAR_DAWTrackStateRecord, ZAR_DAWTrackStateRecord, ZAR_DAWTrackStatePlay}, false, false});
  ZAR_DAWPassRecord::Event lamp;
  lamp.kind = ZAR_DAWPassRecord::EventKind::trackLamp;
  lamp.track = 0;
  lamp.text = "record";
  lamp.on = true;
  record->events.push_back(lamp);
  return record;
}

std::vector<std::uint64_t> numbersIn(zar::platform::FileUtility& files, const std::string& path) {
  std::vector<std::uint64_t> numbers;
  for (const auto& record : PassLog::read(files, path).records) numbers.push_back(record.number);
  return numbers;
}

// On the simulated desktop's files and on real ones: the log behaves the same.
class PassLogTest : public zar::test::SettingsDirectoryTest, public testing::WithParamInterface<bool> {
 protected:
  PassLogTest() {
    if (!GetParam()) files = std::make_shared<zar::test::FaultyFiles>(std::make_shared<zar::sim::MemoryFileUtility>(directory.path()));
  }
  std::string logPath() const { return path(PassLog::kFileName); }
  /// A log of `kept` passes with the given passes appended and written.
  void write(std::initializer_list<std::uint64_t> numbers, std::size_t kept = PassLog::kKeptPasses) {
    PassLog log(files, logPath(), kept);
    for (const auto number : numbers) log.append(pass(number));
    log.flush();
  }
};

TEST_P(PassLogTest, PassesGoOnInOrderAndTheFileIsCutBackToTheLastOnes) {
  write({1, 2, 3});
  write({4});  // a later run goes on after them
  EXPECT_THAT(numbersIn(*files, logPath()), ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(PassLog::read(*files, logPath()).records.back(), *pass(4)) << "read back whole";

  // Ten kept: the eleventh pass is within the slack, the twelfth cuts the file back to ten.
  write({5, 6, 7, 8, 9, 10, 11}, 10);
  EXPECT_THAT(numbersIn(*files, logPath()), SizeIs(11));
  write({12}, 10);
  EXPECT_THAT(numbersIn(*files, logPath()), ElementsAre(3, 4, 5, 6, 7, 8, 9, 10, 11, 12));
  EXPECT_TRUE(logged(LogFlag::error).empty());
}

TEST_P(PassLogTest, ALastLineCutOffIsDroppedAndADamagedFileIsKeptAsideWithItsWholePassesGoingOn) {
  const std::string whole = pass(1)->toJSONLine() + "\n";
  files->write(logPath(), whole + pass(2)->toJSONLine().substr(0, 40));  // the host died while writing 2
  write({3});
  EXPECT_THAT(numbersIn(*files, logPath()), ElementsAre(1, 3));
  EXPECT_TRUE(logged(LogFlag::warning).empty()) << "a cut-off last line is what a crash leaves: no damage";

  files->write(logPath(), whole + "{\"not\": \"a pass\"}\n" + pass(2)->toJSONLine() + "\n");
  write({4});
  EXPECT_THAT(numbersIn(*files, logPath()), ElementsAre(1, 2, 4));
  ASSERT_THAT(logged(LogFlag::warning), ElementsAre(HasSubstr("1 of its lines hold no pass")));
  const std::string kept = logged(LogFlag::warning)[0].substr(logged(LogFlag::warning)[0].find(" kept as ") + 9);
  EXPECT_THAT(files->readFile(kept.substr(0, kept.find(' '))), testing::Optional(HasSubstr("a pass"))) << "as it was found";
}

TEST_P(PassLogTest, AFullDiskIsLoggedOnceAndSaidWhenPassesAreKeptAgain) {
  files->failWrites = "No space left on device";
  write({1, 2});
  EXPECT_THAT(logged(LogFlag::error), ElementsAre(HasSubstr("No space left on device")));
  files->failWrites.clear();
  write({3});
  EXPECT_THAT(numbersIn(*files, logPath()), ElementsAre(3));
  EXPECT_EQ(logged(LogFlag::error).size(), 1u) << "a new run may say it once more, not more";
}

INSTANTIATE_TEST_SUITE_P(Files, PassLogTest, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& param) { return param.param ? "Real" : "Simulated"; });

// What is not a regular file is never written: the log is off for the run, without waiting.
TEST(PassLogPlaces, AFifoADirectoryOrADeviceInThePlaceOfTheLogIsLeftAlone) {
  zar::test::TemporaryDirectory directory;
  ASSERT_EQ(::mkfifo(directory.file("fifo").c_str(), 0600), 0);
  std::filesystem::create_directory(directory.file("folder"));
  std::filesystem::create_symlink("/dev/null", directory.file("device"));
  auto files = std::make_shared<zar::native::LocalFileUtility>(directory.path());
  for (const char* name : {"fifo", "folder", "device"}) {
    SCOPED_TRACE(name);
    {
      PassLog log(files, directory.file(name));
      log.append(pass(1));
      log.append(pass(2));
      log.flush();
    }
    EXPECT_EQ(PassLog::read(*files, directory.file(name)).status, FileRead::Status::notRegular);
  }
  EXPECT_TRUE(std::filesystem::is_fifo(directory.file("fifo")));
  EXPECT_TRUE(std::filesystem::is_directory(directory.file("folder")));
}

}  // namespace pass_log_test
