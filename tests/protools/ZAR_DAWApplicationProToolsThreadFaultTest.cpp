#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/ProToolsTest.h"
#include "support/Rendezvous.h"
#include "support/TakeCue.h"
#include "support/Watchdog.h"

namespace {

using zar::sim::SimHUIHost;
using Bytes = std::vector<std::uint8_t>;

enum class Fault {
  quitWhileSelectionIsTyped, quitBetweenRecordAndPlay, quitDuringDiscoveryPass, rowGoneBeforeFrameUpdate,
  huiPortGoneMidPass, pingsStop };
const char* const kFaultNames[] = {"QuitWhileSelectionIsTyped", "QuitBetweenRecordAndPlay", "QuitDuringDiscoveryPass",
                                   "RowGoneBeforeFrameUpdate",  "HUIPortGoneMidPass",       "PingsStop"};

// Discovery passes on a pool, HUI on the MIDI thread, the host on the main thread (the test's,
// moving virtual time); a second Pro Tools behind the first. Faults come through hooks.
class ThreadFaultTest : public zar::test::EnabledProToolsTest, public testing::WithParamInterface<int> {
 protected:
  ThreadFaultTest() : EnabledProToolsTest(zar::sim::SimDispatch::Mode::threaded) {}
  void SetUp() override {
    start(true, defaultOptions(), [this](zar::sim::SimProTools&) { _second = launchProTools(); });
    ASSERT_TRUE(_driver && _driver->processIdentifier() == _proTools->processIdentifier());
    ASSERT_TRUE(runUntil([&] { return _driver->readyForPass(); }));
  }
  void TearDown() override {
    sim.desktop->eventPoster()->setKeyboardHook({});
    sim.desktop->accessibility()->setCallHook({});
    _proTools->huiHost()->setReceiveHook({});
    sim.settleMIDI();
    _manager->setEnabled(false);
  }
  // Any thread. Pro Tools' HUI falls silent with it.
  void quitFirst() {
    _proTools->huiHost()->setPinging(false);
    quit(_proTools);
  }
  // Runs the main loop while passes run on the pool, until the condition holds (bounded).
  bool runUntil(const std::function<bool()>& condition) {
    return zar::test::eventually([&] { return sim.runFor(0.25), condition(); });
  }
  // The application is kept but reported without HUI (a pass shows the warning) until `restore`.
  void expectWithoutHUIUntil(const std::function<void()>& restore) {
    ASSERT_TRUE(runUntil([&] { return _injected && !_driver->readyForPass(); }));
    _driver->rehearseWithEvent(zar::test::takeCue());
    const auto alerts = sim.desktop->alerts()->shownAlerts();
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].request.messageText, "Can't establish HUI connection");
    restore();
    ASSERT_TRUE(runUntil([&] { return _driver->readyForPass(); }));
    _driver->rehearseWithEvent(zar::test::takeCue());
    sim.settleMIDI();
    EXPECT_EQ(_proTools->huiHost()->transportState(), SimHUIHost::TransportState::playing);
  }

  zar::test::Watchdog _watchdog{std::chrono::seconds(120), [] { std::abort(); }};  // a hang ends the test
  std::shared_ptr<zar::sim::SimProTools> _second;
  std::atomic<bool> _injected{false};
};

TEST_P(ThreadFaultTest, NoCrashNoHangNoStrayKeyAndTheDefinedOutcome) {
  const auto event = zar::test::takeCue();
  const auto host = _proTools->huiHost();
  const auto& poster = sim.desktop->eventPoster();
  const auto once = [this] { return !_injected.exchange(true); };
  const auto fault = static_cast<Fault>(GetParam());
  switch (fault) {
    case Fault::quitWhileSelectionIsTyped:
      poster->setKeyboardHook([this, once](std::size_t posted) {
        if (posted == 5 && once()) quitFirst();
      });
      EXPECT_FALSE(_driver->setSelectionStartTC("00:59:58:00"));
      break;
    case Fault::quitBetweenRecordAndPlay:
      _manager->muteRecMatrix()->setRecordMode(_manager->trackModeList()->audioTrackModes()->at(3), 0);
      host->setReceiveHook([this, once](std::span<const std::uint8_t> bytes) {
        if (Bytes(bytes.begin(), bytes.end()) == Bytes{0xB0, 0x2F, 0x05} && once()) quitFirst();  // Record released
      });
      _driver->recordWithEvent(event);
      _driver->updateDAWTrackStatesForFrameIndex(1100);
      _driver->stopPlayback();
      break;
    case Fault::quitDuringDiscoveryPass: {
      // Pro Tools quits as the pass on the pool asks whether it still answers.
      const auto main = std::this_thread::get_id();
      const auto startField = _proTools->selectionStartField();
      sim.desktop->accessibility()->setCallHook([this, once, main, startField](const zar::sim::SimElement& element) {
        if (std::this_thread::get_id() != main && &element == startField.get() && once()) quitFirst();
      });
      break;
    }
    case Fault::rowGoneBeforeFrameUpdate: {
      // Played before the cue, muted during it. (A track muted before would keep its flag in the
      // object the aux track takes over until the lamps correct it: a race with HUI feedback.)
      _manager->muteRecMatrix()->setRehearseMode(mode(ZAR_DAWTrackStatePlay, ZAR_DAWTrackStateMute, ZAR_DAWTrackStatePlay), 1);
      _driver->rehearseWithEvent(event);
      _proTools->removeTrack(1);  // the aux track slides into the second position
      _driver->updateDAWTrackStatesForFrameIndex(1100);
      ASSERT_EQ(_driver->audioTracks().size(), 2u) << "found again before the update acted";
      EXPECT_EQ(_driver->audioTracks()[1]->name(), "FX ");
      sim.settleMIDI();
      EXPECT_TRUE(_proTools->trackMuted(1)) << "the second position is muted, whichever track it holds";
      EXPECT_TRUE(runUntil([&] { return _driver->readyForPass(); })) << "the new track count's lamps learnt";
      break;
    }
    case Fault::huiPortGoneMidPass:
      // The port goes while the pass types the cue's start: the transport's messages find it gone.
      poster->setKeyboardHook([this, once](std::size_t posted) {
        if (posted == 5 && once()) sim.midiPorts->breakPorts(ZAR_MIDISystem::kDefaultHUIPortName);
      });
      _driver->rehearseWithEvent(event);
      sim.settleMIDI();
      EXPECT_EQ(host->transportState(), SimHUIHost::TransportState::stopped) << "Play never reached Pro Tools";
      // Pro Tools selects the ports again, which works only if the framework opened them again.
      expectWithoutHUIUntil([this] { zar::test::attachHUI(sim, *_proTools); });
      break;
    case Fault::pingsStop:
      // Pro Tools stops pinging (HUI deselected) right after the framework answered a ping.
      host->setReceiveHook([this, once, raw = host.get()](std::span<const std::uint8_t> bytes) {
        if (Bytes(bytes.begin(), bytes.end()) == Bytes{0x90, 0x00, 0x7F} && once()) raw->setPinging(false);
      });
      expectWithoutHUIUntil([host] { host->setPinging(true); });
      break;
  }

  if (fault <= Fault::quitDuringDiscoveryPass) {
    EXPECT_TRUE(runUntil([&] {
      const auto current = _manager->currentApplication();
      return current && current->processIdentifier() == _second->processIdentifier();
    })) << "the next Pro Tools is found";
    EXPECT_FALSE(_driver->connected());
    EXPECT_TRUE(_injected);
  } else {
    EXPECT_EQ(_manager->currentApplication(), _driver) << "the application is kept";
  }
  // Every key went to the first Pro Tools (lost once it had quit); no other application got one.
  for (const auto& key : poster->keyboardEvents()) EXPECT_EQ(key.psn, _driver->processSerialNumber());
  const auto first = _proTools->processIdentifier();
  for (const auto& click : poster->mouseEvents()) EXPECT_TRUE(click.handledBy == 0 || click.handledBy == first);
  EXPECT_EQ(sim.desktop->workspace()->hostApplication()->typedText(), "");
  EXPECT_EQ(_second->typedText(), "");
}

INSTANTIATE_TEST_SUITE_P(Faults, ThreadFaultTest, testing::Range(0, 6),
                         [](const testing::TestParamInfo<int>& fault) { return std::string(kFaultNames[fault.param]); });

}  // namespace
