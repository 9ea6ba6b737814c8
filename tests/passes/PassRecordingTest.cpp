#include <gtest/gtest.h>

#include <fmt/format.h>

#include <algorithm>
#include <any>

#include "ZAR_DAWControl/accessibility/AXNames.h"
#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/passes/BlackBox.h"
#include "ZAR_DAWControl/passes/PassLog.h"
#include "ZAR_DAWControl/platform/sim/SimAccessibility.h"
#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"
#include "support/ProToolsTest.h"
#include "support/TakeCue.h"

namespace {

using Kind = ZAR_DAWPassRecord::EventKind;
using Ending = ZAR_DAWPassRecord::Ending;
using Event = ZAR_DAWPassRecord::Event;
using Record = std::shared_ptr<const ZAR_DAWPassRecord>;

// Passes of the driver on the simulated desktop, with Pro Tools talking HUI: what their black box
// holds when they end, and what "ZAR_DAWApplicationPassEnded" carried.
class PassRecordingTest : public zar::test::EnabledProToolsTest {
 protected:
  void SetUp() override {
    zar::passes::BlackBox::shared().endPass(Ending::stopped, -1);  // none left over from another test
    ASSERT_NO_FATAL_FAILURE(start(true));
    sim.runFor(1.0);  // the first ping, the bank survey
    sim.settleMIDI();
    // Track 0 records during the cue (Input before and after), track 1 is muted throughout.
    const auto modes = _manager->trackModeList()->audioTrackModes();
    _manager->muteRecMatrix()->setRecordMode(modes->at(3), 0);
    _manager->muteRecMatrix()->setRecordMode(modes->at(1), 1);
  }

  // The one record posted since the test began.
  Record postedRecord() const {
    EXPECT_EQ(_posted.size(), 1u) << "one PassEnded per pass";
    return _posted.empty() ? nullptr : _posted.back();
  }
  // The index of the first event from `from` on that matches, or the events' count.
  template <typename Match>
  static std::size_t find(const ZAR_DAWPassRecord& record, Match match, std::size_t from = 0) {
    const auto& events = record.events;
    return static_cast<std::size_t>(std::find_if(events.begin() + static_cast<long>(from), events.end(), match) -
                                    events.begin());
  }
  static auto sent(std::uint8_t port) {
    return [port](const Event& e) {
      return e.kind == Kind::huiSent && e.bytes == std::array<std::uint8_t, 3>{0xB0, 0x2F, port};
    };
  }
  static auto phase(ZAR_DAWEventPhase phase, std::int64_t frame) {
    return [=](const Event& e) { return e.kind == Kind::phase && e.phase == phase && e.frame == frame; };
  }
  static auto kind(Kind kind, std::int32_t track = -2) {
    return [=](const Event& e) { return e.kind == kind && (track == -2 || e.track == track); };
  }

  std::vector<Record> _posted;
  zar::platform::NotificationObservation _passEnded{
      sim.notificationCenter, std::string(ZAR_DAWApplicationPassEndedNotification),
      [this](const zar::platform::Notification& n) {
        _posted.push_back(std::any_cast<Record>(n.object));
      }};
};

TEST_F(PassRecordingTest, ARecordPassFromCallToStopLeavesWhatTheFrameworkDidAndSaw) {
  const auto event = zar::test::takeCue();
  _driver->recordWithEvent(event);
  sim.runFor(1.0);  // the lamps of the armed and muted tracks settle
  _driver->updateDAWTrackStatesForFrameIndex(1000);
  _driver->updateDAWTrackStatesForFrameIndex(1001);
  sim.runFor(1.0);
  _driver->updateDAWTrackStatesForFrameIndex(1200);
  sim.runFor(1.0);
  _driver->stopPlayback();

  const auto record = postedRecord();
  ASSERT_TRUE(record);
  EXPECT_EQ(_manager->recentPassRecords().back(), record);
  EXPECT_EQ(record->ending, Ending::stopped);
  EXPECT_EQ(record->mode, ZAR_DAWModeRecord);
  EXPECT_EQ(record->cue.cueNumber, "101");
  EXPECT_EQ(record->cue.characterPrefix, "JO");
  EXPECT_EQ(record->cue.takesBefore, 2);
  EXPECT_EQ(record->cue.takesAfter, 3);
  EXPECT_EQ(record->recordTrackPosition, 0);
  ASSERT_EQ(record->tracks.size(), 3u);
  EXPECT_EQ(record->tracks[1].name, "Dialog 2 ");
  EXPECT_EQ(record->tracks[1].modeName, "Mute");
  EXPECT_EQ(record->tracks[0].states[1], ZAR_DAWTrackStateRecord);
  EXPECT_FALSE(record->tracks[2].hasMode) << "the matrix leaves the aux track alone";

  // In the order it happened.
  const auto& events = record->events;
  const std::size_t before = find(*record, phase(ZAR_DAWEventPhaseBefore, -1));
  const std::size_t rename = find(*record, kind(Kind::rename, 0), before);
  ASSERT_LT(rename, events.size());
  EXPECT_EQ(events[rename].text, "JO_2_101");
  EXPECT_EQ(events[rename].detail, "Dialog 1 ");
  const std::size_t startTyped = find(*record, kind(Kind::selectionTyped), rename);
  ASSERT_LT(startTyped + 1, events.size());
  EXPECT_EQ(events[startTyped].text, "00595800");
  EXPECT_EQ(events[startTyped].detail, "start");
  const std::size_t endTyped = find(*record, kind(Kind::selectionTyped), startTyped + 1);
  ASSERT_LT(endTyped, events.size());
  EXPECT_EQ(events[endTyped].text, "01000412");
  EXPECT_EQ(events[endTyped].detail, "end");
  const std::size_t recordPressed = find(*record, sent(0x45), endTyped);
  const std::size_t playPressed = find(*record, sent(0x44), recordPressed);
  EXPECT_LT(playPressed, events.size()) << "record, then play, went out on the HUI port";
  const std::size_t during = find(*record, phase(ZAR_DAWEventPhaseDuring, 1000), playPressed);
  EXPECT_LT(find(*record, phase(ZAR_DAWEventPhaseAfter, 1200), during), events.size());
  EXPECT_EQ(find(*record, phase(ZAR_DAWEventPhaseDuring, 1001)), events.size()) << "only the phase's first frame";

  // What Pro Tools showed, and what the framework pressed and read.
  const auto lamp = [&](const char* which, std::int32_t track) {
    return find(*record, [&](const Event& e) {
      return e.kind == Kind::trackLamp && e.text == which && e.track == track && e.on;
    });
  };
  EXPECT_LT(lamp("record", 0), events.size()) << "track 0 armed";
  EXPECT_LT(lamp("mute", 1), events.size()) << "track 1 muted";
  EXPECT_LT(find(*record, kind(Kind::lamp, 0)), events.size()) << "the strip lamp decoded for its track";
  const std::size_t pressed = find(*record, kind(Kind::inputPress, 0));
  ASSERT_LT(pressed, events.size());
  EXPECT_TRUE(events[pressed].on);
  EXPECT_LT(find(*record, kind(Kind::inputRead, 0)), events.size());
  EXPECT_LT(find(*record, [](const Event& e) {
              return e.kind == Kind::notification && e.text == ZAR_DAWApplicationRecordStartedNotification;
            }),
            events.size());
  EXPECT_EQ(record->droppedEvents, 0u);
}

TEST_F(PassRecordingTest, APassEndsWhenProToolsDoesNotTalkHUIOrGoesAway) {
  _proTools->huiHost()->setPinging(false);
  sim.runFor(3.0);  // no ping for longer than two seconds
  _driver->rehearseWithEvent(zar::test::takeCue());
  const auto down = postedRecord();
  ASSERT_TRUE(down);
  EXPECT_EQ(down->ending, Ending::huiDown);
  EXPECT_EQ(down->verdictText(), "cut short: Pro Tools didn't talk HUI with the framework: nothing was done");
  const std::size_t warning = find(*down, kind(Kind::warning));
  ASSERT_LT(warning, down->events.size());
  EXPECT_EQ(down->events[warning].text, "Can't establish HUI connection");
  EXPECT_TRUE(down->events[warning].on);

  _posted.clear();
  _proTools->huiHost()->setPinging(true);
  sim.runFor(1.0);
  const auto event = zar::test::takeCue();
  _driver->rehearseWithEvent(event);
  quit(_proTools);
  sim.runFor(3.0);  // the discovery tick finds Pro Tools gone
  const auto gone = postedRecord();
  ASSERT_TRUE(gone);
  EXPECT_EQ(gone->ending, Ending::proToolsGone);
  EXPECT_LT(find(*gone, [](const Event& e) { return e.text == ZAR_DAWApplicationRemovedNotification; }),
            gone->events.size());
  _driver->stopPlayback();
  EXPECT_EQ(_posted.size(), 1u) << "the pass had ended";
}

// A take in which Pro Tools ends up showing other than the modes ask, by the user's hand or because
// the name field was busy when the take was to be named: each difference names its track and phase.
TEST_F(PassRecordingTest, TheVerdictNamesEachTrackAndPhaseThatDifferedFromTheModes) {
  const auto event = zar::test::takeCue();
  _proTools->trackNameField(0)->failNextCalls(zar::platform::AXError::cannotComplete, 1);
  _driver->recordWithEvent(event);  // the take's name is not entered
  sim.runFor(1.0);
  _driver->updateDAWTrackStatesForFrameIndex(990);
  sim.runFor(1.0);
  _driver->updateDAWTrackStatesForFrameIndex(1000);
  sim.runFor(1.0);
  // During the cue the user unmutes the guide track, switches its input monitor on and arms it.
  _proTools->setTrackMuted(1, false);
  _proTools->inputMonitorButton(1)->performAction(zar::ax::kPressAction);
  _proTools->setTrackRecEnabled(1, true);
  sim.runFor(1.0);
  _driver->updateDAWTrackStatesForFrameIndex(1190);
  sim.runFor(1.0);
  _driver->stopPlayback();

  const auto record = postedRecord();
  ASSERT_TRUE(record);
  std::vector<std::string> differences;
  for (const auto& d : record->differences) {
    differences.push_back(fmt::format("{} \"{}\" {}: {}", d.position, d.track, ZAR_DAWPassRecord::phaseText(d.phase), d.text));
  }
  EXPECT_EQ(differences, (std::vector<std::string>{
                             "1 \"Dialog 2 \" during: record enable on, asked off",
                             "1 \"Dialog 2 \" during: mute off, asked on",
                             "1 \"Dialog 2 \" during: input monitor on, asked off",
                             "0 \"Dialog 1 \" 0: named \"Dialog 1 \" in Pro Tools, not \"JO_2_101\"",
                         }));
  EXPECT_EQ(record->verdictText(), "4 differences");
  EXPECT_TRUE(record->cutShort.empty());
}

// Every finished pass goes on as a line of the pass log beside the settings files, until the
// preference turns it off.
TEST_F(PassRecordingTest, FinishedPassesGoToThePassLogWhileThePreferenceSaysSo) {
  const auto files = zar::platform::Platform::current()->fileUtility;
  const std::string path = files->applicationSupportDirectoryPath() + "/PassLog.jsonl";
  const auto event = zar::test::takeCue();
  _driver->rehearseWithEvent(event);
  _driver->stopPlayback();
  _manager->flushPassLog();
  const auto lines = [&] { return zar::passes::PassLog::read(*files, path).records; };
  ASSERT_EQ(lines().size(), 1u);
  EXPECT_EQ(lines().front(), *postedRecord());

  sim.userDefaults->setObject(ZAR_DAWKeepPassLogPrefKey, false);
  _driver->rehearseWithEvent(event);
  _driver->stopPlayback();
  _manager->flushPassLog();
  EXPECT_EQ(lines().size(), 1u);
  ASSERT_EQ(_posted.size(), 2u);
  EXPECT_EQ(_manager->recentPassRecords().back(), _posted.back()) << "the black box keeps it all the same";
}

TEST_F(PassRecordingTest, RecordingMakesNoAccessibilityCall) {
  std::atomic<int> calls{0};
  sim.desktop->accessibility()->setCallHook([&](const zar::sim::SimElement&) { ++calls; });
  const auto event = zar::test::takeCue();  // the driver holds it weakly
  _driver->recordWithEvent(event);
  sim.runFor(1.0);
  _driver->updateDAWTrackStatesForFrameIndex(1050);  // the phase's presses
  sim.runFor(1.0);
  calls = 0;
  _driver->updateDAWTrackStatesForFrameIndex(1050);
  const int recorded = calls.exchange(0);
  zar::passes::BlackBox::shared().endPass(Ending::stopped, -1);
  _driver->updateDAWTrackStatesForFrameIndex(1050);
  sim.desktop->accessibility()->setCallHook({});
  EXPECT_GT(recorded, 0);
  EXPECT_EQ(calls.load(), recorded);
}

}  // namespace
