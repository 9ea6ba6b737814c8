#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <tuple>

#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/ProToolsTest.h"

namespace {

using zar::sim::SimHUIHost;
using zar::sim::SimProTools;

// The tracks' cached record-enable and mute flags against what Pro Tools shows, from the user's
// changes made before the framework started to the first take.
class LampsTest : public zar::test::HUIProToolsTest {
 protected:
  /// A session of `count` tracks; `user` makes changes in Pro Tools before the framework is enabled.
  void start(int count, const std::function<void(SimProTools&)>& user = {}) {
    auto options = defaultOptions();
    options.tracks.clear();
    for (int i = 0; i < count; ++i) options.tracks.push_back({"Dialog " + std::to_string(i + 1)});
    startWithHUI(options, user);
  }
  /// Track 0 records during the cue; every other track plays.
  void assignRecordModes() {
    const auto modes = _manager->trackModeList()->audioTrackModes();
    for (std::int32_t i = 0; i < static_cast<std::int32_t>(_proTools->trackCount()); ++i) {
      _manager->muteRecMatrix()->setRecordMode(modes->at(i == 0 ? 3 : 0), i);
    }
  }
  std::shared_ptr<ZAR_DAWAudioTrack> track(std::size_t index) { return _driver->audioTracks().at(index); }
  void expectCachesFollowProTools() {
    for (std::size_t i = 0; i < _proTools->trackCount(); ++i) {
      EXPECT_EQ(track(i)->recEnabled(), _proTools->trackRecEnabled(i)) << "record enable of track " << i;
      EXPECT_EQ(track(i)->muted(), _proTools->trackMuted(i)) << "mute of track " << i;
    }
  }
  std::set<std::size_t> armedInProTools() const {
    std::set<std::size_t> armed;
    for (std::size_t i = 0; i < _proTools->trackCount(); ++i) {
      if (_proTools->trackRecEnabled(i)) armed.insert(i);
    }
    return armed;
  }
  void recordFirstTake() {
    auto event = std::make_shared<ZAR_VisualEvent>();
    event->setStartTCString("00:59:58:00");
    event->setEndTCString("01:00:04:12");
    event->setRecTrackIndex(0);
    _driver->recordWithEvent(event);
    sim.runFor(0.1);
    EXPECT_EQ(_proTools->huiHost()->transportState(), SimHUIHost::TransportState::recording);
  }
};

TEST_F(LampsTest, TracksArmedAndMutedBeforeTheFrameworkStartsAreKnownAndTheFirstTakeDisarmsThem) {
  start(5, [](SimProTools& proTools) {
    proTools.setTrackRecEnabled(1, true);
    proTools.setTrackMuted(2, true);
  });
  assignRecordModes();
  sim.runFor(3.0);
  EXPECT_TRUE(track(1)->recEnabled());
  EXPECT_TRUE(track(2)->muted());
  expectCachesFollowProTools();

  recordFirstTake();
  EXPECT_EQ(armedInProTools(), (std::set<std::size_t>{0})) << "only the record track records";
  EXPECT_FALSE(_proTools->trackMuted(2)) << "a track that plays is unmuted before the cue";
  expectCachesFollowProTools();
}

TEST_F(LampsTest, InASessionOfFortyTracksATrackArmedOutOfViewIsKnownBeforeTheFirstTake) {
  start(40, [](SimProTools& proTools) { proTools.setTrackRecEnabled(37, true); });
  assignRecordModes();
  ASSERT_TRUE(_driver->huiDevice());
  for (int step = 0; step < 100 && !_driver->huiDevice()->lampsKnown(); ++step) sim.runFor(0.1);
  EXPECT_TRUE(_driver->huiDevice()->lampsKnown());
  EXPECT_TRUE(track(37)->recEnabled());
  expectCachesFollowProTools();

  recordFirstTake();
  EXPECT_EQ(armedInProTools(), (std::set<std::size_t>{0}));
  expectCachesFollowProTools();
}

// The framework switches a track off over HUI; the user switches it on again in Pro Tools a
// moment later. The cache must follow, so the framework's next "on" doesn't toggle it off.
class UserChangeAfterToggle : public LampsTest, public testing::WithParamInterface<std::tuple<bool, double>> {};

TEST_P(UserChangeAfterToggle, ReachesTheCacheWithinASecondOfItsLamp) {
  const auto [mute, delay] = GetParam();
  start(3, [](SimProTools& proTools) {
    proTools.setTrackRecEnabled(1, true);
    proTools.setTrackMuted(1, true);
  });
  sim.runFor(3.0);
  const auto set = [&](bool value) { mute ? track(1)->setMuted(value, true) : track(1)->setRecEnabled(value, true); };
  const auto shown = [&] { return mute ? _proTools->trackMuted(1) : _proTools->trackRecEnabled(1); };
  const auto cached = [&] { return mute ? track(1)->muted() : track(1)->recEnabled(); };

  set(false);
  sim.runFor(delay);
  ASSERT_FALSE(shown()) << "the framework's toggle reached Pro Tools";
  mute ? _proTools->setTrackMuted(1, true) : _proTools->setTrackRecEnabled(1, true);
  sim.runFor(1.0);
  EXPECT_TRUE(cached());

  set(true);
  sim.runFor(1.0);
  EXPECT_TRUE(shown()) << "the framework's next switch-on sent no toggle";
  expectCachesFollowProTools();
}

INSTANTIATE_TEST_SUITE_P(RecordEnableAndMute, UserChangeAfterToggle,
                         testing::Combine(testing::Bool(), testing::Values(0.1, 0.3, 1.0)),
                         [](const auto& testInfo) {
                           const int ms = static_cast<int>(std::get<1>(testInfo.param) * 1000);
                           return std::string(std::get<0>(testInfo.param) ? "Mute" : "RecordEnable") + "After" +
                                  std::to_string(ms) + "ms";
                         });

}  // namespace
