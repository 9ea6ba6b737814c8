#include "ZAR_DAWControl/passes/BlackBox.h"

#include <gtest/gtest.h>

#include <any>
#include <thread>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/platform/NotificationObservation.h"
#include "support/SimPlatform.h"

namespace {

using zar::passes::BlackBox;
using Kind = ZAR_DAWPassRecord::EventKind;
using Ending = ZAR_DAWPassRecord::Ending;

// The process's black box on a simulated platform, with no pass left over from another test.
class BlackBoxTest : public testing::Test {
 protected:
  BlackBoxTest() { box.endPass(Ending::stopped, -1); }
  ~BlackBoxTest() override {
    box.endPass(Ending::stopped, -1);
    box.setSink({});
  }

  static ZAR_DAWPassRecord start(std::int32_t takes = 2) {
    ZAR_DAWPassRecord record;
    record.mode = ZAR_DAWModeRecord;
    record.cue.cueNumber = "101";
    record.cue.takesBefore = takes;
    record.tracks.resize(2);
    record.tracks[0].name = "Dialog 1";
    record.tracks[1].position = 1;
    record.tracks[1].name = "Dialog 2";
    return record;
  }
  static std::vector<Kind> kinds(const ZAR_DAWPassRecord& record) {
    std::vector<Kind> result;
    for (const auto& event : record.events) result.push_back(event.kind);
    return result;
  }

  zar::test::SimPlatform sim;
  BlackBox& box = BlackBox::shared();
};

TEST_F(BlackBoxTest, KeepsNothingWhileNoPassRecordsAndEndsAPassOnce) {
  const auto before = box.recentRecords();
  EXPECT_FALSE(box.recording());
  box.notification("ZAR_DAWApplicationAdded");
  box.huiSent(std::vector<std::uint8_t>{0xB0, 0x2F, 0x44});
  box.inputRead(0, true);
  box.phase(ZAR_DAWEventPhaseBefore, -1);
  EXPECT_EQ(box.endPass(Ending::stopped, 3), nullptr);
  EXPECT_EQ(box.recentRecords(), before);

  box.beginPass(start());
  EXPECT_TRUE(box.recording());
  box.lamp(0x0E, 4, true, -1);
  box.huiNotSent(std::vector<std::uint8_t>{0xB0, 0x2F, 0x44, 0x00}, "the queue is full");
  const auto record = box.endPass(Ending::stopped, 3);
  ASSERT_NE(record, nullptr);
  EXPECT_FALSE(box.recording());
  EXPECT_EQ(box.endPass(Ending::stopped, 4), nullptr) << "ended once";
  ASSERT_EQ(kinds(*record), (std::vector<Kind>{Kind::lamp, Kind::huiNotSent}));
  EXPECT_EQ(record->events[0].text, "play");
  EXPECT_EQ(record->events[1].size, 4) << "the length kept";
  EXPECT_EQ(record->events[1].bytes, (std::array<std::uint8_t, 3>{0xB0, 0x2F, 0x44}));
  EXPECT_EQ(record->events[1].text, "the queue is full");
  EXPECT_EQ(record->cue.takesAfter, 3);
  EXPECT_EQ(box.recentRecords().back(), record);
}

TEST_F(BlackBoxTest, APassAndTheRecentPassesAreBounded) {
  box.beginPass(start());
  for (std::size_t i = 0; i < ZAR_DAWPassRecord::kMaximumEvents + 5; ++i) box.inputPress(0, i % 2 == 0);
  const auto full = box.endPass(Ending::stopped, 2);
  EXPECT_EQ(full->events.size(), ZAR_DAWPassRecord::kMaximumEvents);
  EXPECT_EQ(full->droppedEvents, 5u);

  for (std::size_t i = 0; i <= BlackBox::kRecentPasses; ++i) {
    box.beginPass(start());
    box.endPass(Ending::stopped, 2);
  }
  const auto recent = box.recentRecords();
  ASSERT_EQ(recent.size(), BlackBox::kRecentPasses);
  EXPECT_EQ(recent.front()->number + BlackBox::kRecentPasses - 1, recent.back()->number) << "oldest first";
  EXPECT_EQ(std::find(recent.begin(), recent.end(), full), recent.end()) << "the oldest went";
}

TEST_F(BlackBoxTest, TheNextPassEndsTheLastAndEveryEndIsHandedOnAndPosted) {
  std::vector<std::shared_ptr<const ZAR_DAWPassRecord>> sunk;
  box.setSink([&](std::shared_ptr<const ZAR_DAWPassRecord> record) { sunk.push_back(std::move(record)); });
  std::vector<std::shared_ptr<const ZAR_DAWPassRecord>> posted;
  const zar::platform::NotificationObservation observation(
      sim.notificationCenter, std::string(ZAR_DAWApplicationPassEndedNotification),
      [&](const zar::platform::Notification& n) {
        posted.push_back(std::any_cast<std::shared_ptr<const ZAR_DAWPassRecord>>(n.object));
      });

  box.beginPass(start(2));
  sim.clock->advanceBy(1.5);
  box.beginPass(start(5));
  sim.clock->advanceBy(2.0);
  const auto second = box.endPass(Ending::stopped, 6);
  ASSERT_EQ(posted.size(), 2u);
  EXPECT_EQ(posted, sunk);
  const auto& first = *posted[0];
  EXPECT_EQ(first.ending, Ending::nextPass);
  EXPECT_EQ(first.cue.takesAfter, 2) << "the count it began with: the next pass's cue may be another";
  EXPECT_DOUBLE_EQ(first.endTime - first.startTime, 1.5);
  EXPECT_EQ(posted[1], second);
  EXPECT_EQ(second->number, first.number + 1);
  EXPECT_EQ(second->cue.takesAfter, 6);
  EXPECT_EQ(second->startTime, first.endTime);
  // Virtual time 1000 s is 1000 s after the virtual clock's wall-clock origin.
  EXPECT_EQ(first.startedAt, "2026-01-01T00:16:40Z");
}

TEST_F(BlackBoxTest, InputReadsPhasesAndNamesAreKeptWhenTheyTellSomethingNew) {
  box.beginPass(start());
  box.phase(ZAR_DAWEventPhaseBefore, -1);
  box.inputRead(0, false);
  box.inputRead(0, false);  // same
  box.inputRead(1, false);
  box.inputRead(0, true);
  box.phase(ZAR_DAWEventPhaseBefore, 990);  // the first frame of the phase the pass began with
  box.phase(ZAR_DAWEventPhaseBefore, 991);
  box.inputRead(0, true);  // same
  box.phase(ZAR_DAWEventPhaseDuring, 1000);
  box.phase(ZAR_DAWEventPhaseDuring, 1001);
  box.inputRead(0, true);  // first read of the phase
  box.trackName(0, "Dialog 1");  // as the pass began
  box.trackName(0, "JO_2_101");
  box.trackName(0, "JO_2_101");
  box.trackName(5, "New");
  const auto record = box.endPass(Ending::stopped, 3);

  EXPECT_EQ(kinds(*record), (std::vector<Kind>{Kind::phase, Kind::inputRead, Kind::inputRead, Kind::inputRead,
                                               Kind::phase, Kind::phase, Kind::inputRead, Kind::trackName,
                                               Kind::trackName}));
  const auto& e = record->events;
  EXPECT_EQ(e[0].frame, -1);
  EXPECT_EQ(e[3].track, 0);
  EXPECT_TRUE(e[3].on);
  EXPECT_EQ(e[4].frame, 990);
  EXPECT_EQ(e[5].phase, ZAR_DAWEventPhaseDuring);
  EXPECT_EQ(e[5].frame, 1000);
  EXPECT_EQ(e[7].text, "JO_2_101");
  EXPECT_EQ(e[8].track, 5);
}

TEST_F(BlackBoxTest, ThreadsRecordingAtOnceLoseNothingAndKeepTheirOrder) {
  constexpr int kThreads = 4;
  constexpr int kEach = 1000;
  box.beginPass(start());
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) {
        ZAR_DAWPassRecord::Event event;
        event.kind = Kind::note;
        event.track = t;
        event.frame = i;
        box.record(std::move(event));
        box.lamp(0, 2, i % 2 == 0, t);  // the MIDI thread's way in
      }
    });
  }
  for (auto& thread : threads) thread.join();
  const auto record = box.endPass(Ending::stopped, 2);
  std::vector<std::int64_t> next(kThreads, 0);
  std::size_t lamps = 0;
  for (const auto& event : record->events) {
    if (event.kind == Kind::lamp) {
      ++lamps;
      continue;
    }
    EXPECT_EQ(event.frame, next[static_cast<std::size_t>(event.track)]++);
  }
  EXPECT_EQ(lamps, static_cast<std::size_t>(kThreads * kEach));
  EXPECT_EQ(next, std::vector<std::int64_t>(kThreads, kEach));
}

}  // namespace
