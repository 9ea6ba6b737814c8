#include <gtest/gtest.h>

#include "ZAR_DAWControl/daw/ZAR_DAWControlConstants.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/ProToolsTest.h"
#include "support/TakeCue.h"

namespace {

using Message = std::vector<std::uint8_t>;
using zar::sim::SimHUIHost;

const Message kZone{0xB0, 0x0F, 0x0E};
const Message kStopOn{0xB0, 0x2F, 0x43};
const Message kPlayOn{0xB0, 0x2F, 0x44};
const Message kPlayOff{0xB0, 0x2F, 0x04};
const Message kRecordOn{0xB0, 0x2F, 0x45};
const Message kRecordOff{0xB0, 0x2F, 0x05};

class TransportTest : public zar::test::EnabledProToolsTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(start(true));
    _host = _proTools->huiHost();
    sim.runFor(1.0);  // the first ping
    sim.settleMIDI();
    _host->clearReceivedMessages();
    sim.clock->clearSleeps();
    clearPosted();
  }

  // The transport zone's messages the host received: each zone select of zone 0x0E and the port
  // message that follows it, in order.
  std::vector<Message> transportMessages() {
    sim.settleMIDI();
    std::vector<Message> result;
    bool afterZoneSelect = false;
    for (const auto& message : _host->receivedMessages()) {
      if (message == kZone) {
        result.push_back(message);
        afterZoneSelect = true;
      } else if (afterZoneSelect && message.size() == 3 && message[0] == 0xB0 && message[1] == 0x2F) {
        result.push_back(message);
        afterZoneSelect = false;
      } else if (message.size() == 3 && message[0] == 0xB0 && message[1] == 0x0F) {
        afterZoneSelect = false;  // another zone
      }
    }
    return result;
  }
  std::vector<double> pauses() const {
    std::vector<double> result;
    for (const auto& sleep : sim.clock->sleeps()) {
      if (sleep.duration != 0.030) result.push_back(sleep.duration);  // keystroke pauses aside
    }
    return result;
  }
  // Makes track `position` record during cues by giving it the list's "Record" mode.
  void makeRecordTrack(std::int32_t position) {
    const auto modes = _manager->trackModeList()->audioTrackModes();
    _manager->muteRecMatrix()->setRecordMode(modes->at(3), position);
  }

  std::shared_ptr<SimHUIHost> _host;
};

TEST_F(TransportTest, RehearseAndReviewSelectTheCueAndPressPlay) {
  const auto event = zar::test::takeCue();
  _driver->rehearseWithEvent(event);
  EXPECT_EQ(transportMessages(), (std::vector<Message>{kZone, kPlayOn, kZone, kPlayOff}));
  EXPECT_EQ(_host->transportState(), SimHUIHost::TransportState::playing);
  EXPECT_EQ(pauses(), (std::vector<double>{0.100, 0.200}));
  EXPECT_EQ(_proTools->selectionStart(), (TCTime{0, 59, 58, 0, 0, 100, 0}));
  EXPECT_EQ(_proTools->selectionEnd(), (TCTime{1, 0, 4, 12, 0, 100, 0}));
  EXPECT_EQ(_driver->currentEvent(), event);
  EXPECT_EQ(_driver->currentMode(), ZAR_DAWModeRehearse);

  _host->clearReceivedMessages();
  sim.clock->clearSleeps();
  _driver->reviewWithEvent(event);
  EXPECT_EQ(transportMessages(), (std::vector<Message>{kZone, kPlayOn, kZone, kPlayOff}));
  EXPECT_EQ(pauses(), (std::vector<double>{0.100, 0.100})) << "review waits half as long between start and end";
  EXPECT_EQ(_driver->currentMode(), ZAR_DAWModeReview);
}

TEST_F(TransportTest, RecordNamesTheRecordTrackPressesRecordThenPlayAndCountsTheTake) {
  makeRecordTrack(0);
  const auto event = zar::test::takeCue();
  _driver->recordWithEvent(event);
  EXPECT_EQ(transportMessages(),
            (std::vector<Message>{kZone, kRecordOn, kZone, kRecordOff, kZone, kPlayOn, kZone, kPlayOff}));
  EXPECT_EQ(_host->transportState(), SimHUIHost::TransportState::recording);
  EXPECT_EQ(_proTools->trackName(0), "JO_2_101") << "named with the count from before this take";
  EXPECT_EQ(event->numRecordedTakes(), 3);
  EXPECT_EQ(std::count(posted().begin(), posted().end(), ZAR_DAWApplicationRecordStartedNotification), 1);
  EXPECT_EQ(sim.desktop->workspace()->frontmostApplication(), sim.desktop->workspace()->hostApplication())
      << "the host is brought back after the naming";
  // The record track is armed before the cue (through HUI); the other tracks are left alone.
  EXPECT_TRUE(_driver->audioTracks()[0]->recEnabled());
  sim.settleMIDI();
  EXPECT_TRUE(_proTools->trackRecEnabled(0)) << "the row shows what HUI armed";
  EXPECT_FALSE(_proTools->trackRecEnabled(1));
}

TEST_F(TransportTest, TheNameLeavesOutWhatThePreferencesTurnOffAndKeepsEmptyPartsInPlace) {
  makeRecordTrack(0);
  const auto event = zar::test::takeCue();
  event->setCharacter(nullptr);
  event->setNumRecordedTakes(3);
  event->setCueNumber("12A");
  _driver->recordWithEvent(event);
  EXPECT_EQ(_proTools->trackName(0), "_3_12A");

  for (const char* key : {ZAR_DAWAudioTrackNameCharacterPrefixPrefKey, ZAR_DAWAudioTrackNameNumRecordsPrefKey,
                          ZAR_DAWAudioTrackNameCueNumberPrefKey}) {
    sim.userDefaults->setBool(false, key);
  }
  sim.desktop->eventPoster()->clearLog();
  _driver->recordWithEvent(event);
  EXPECT_EQ(_proTools->trackName(0), "_3_12A") << "kept";
  EXPECT_EQ(event->numRecordedTakes(), 5);
  EXPECT_TRUE(sim.desktop->eventPoster()->mouseEvents().empty()) << "no double-click without a name";
}

TEST_F(TransportTest, WithoutHUIOrACueNothingMoves) {
  _driver->rehearseWithEvent(nullptr);
  _driver->recordWithEvent(nullptr);
  _driver->reviewWithEvent(nullptr);
  EXPECT_TRUE(transportMessages().empty());
  EXPECT_TRUE(sim.clock->sleeps().empty());
  EXPECT_TRUE(sim.desktop->alerts()->shownAlerts().empty());

  _host->setPinging(false);
  sim.runFor(3.0);  // no ping for longer than two seconds
  const auto event = zar::test::takeCue();
  _driver->rehearseWithEvent(event);
  _driver->recordWithEvent(event);
  EXPECT_TRUE(transportMessages().empty());
  EXPECT_EQ(event->numRecordedTakes(), 2);
  EXPECT_FALSE(_driver->currentEvent());
  const auto alerts = sim.desktop->alerts()->shownAlerts();
  ASSERT_EQ(alerts.size(), 2u) << "only the warning shows";
  EXPECT_EQ(alerts[1].request.messageText, "Can't establish HUI connection");
}

TEST_F(TransportTest, StopSendsThreeMessagesAndTogglePlaybackIsOneSpaceKeyDown) {
  _driver->stopPlayback();
  EXPECT_EQ(transportMessages(), (std::vector<Message>{kZone, kStopOn, kZone}));
  EXPECT_EQ(_driver->currentMode(), ZAR_DAWModeNone);
  _driver->togglePlayback();
  _driver->togglePlayback();
  EXPECT_TRUE(sim.clock->sleeps().empty());
  const auto keys = sim.desktop->eventPoster()->keyboardEvents();
  ASSERT_EQ(keys.size(), 2u);
  for (const auto& key : keys) {
    EXPECT_EQ(key.event.keyCode, 49);
    EXPECT_TRUE(key.event.keyDown);
    EXPECT_EQ(key.event.flags, zar::platform::EventFlagNone);
    EXPECT_EQ(key.event.characters, "");
    EXPECT_EQ(key.psn, _driver->processSerialNumber());
  }
  EXPECT_EQ(transportMessages().size(), 3u);
}

}  // namespace
