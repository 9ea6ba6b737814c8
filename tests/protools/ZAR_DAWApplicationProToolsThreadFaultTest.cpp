#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackMode.h"
#include "ZAR_DAWControl/modes/ZAR_DAWAudioTrackModeList.h"
#include "ZAR_DAWControl/modes/ZAR_DAWMuteRecMatrix.h"
#include "ZAR_DAWControl/platform/midi/ZAR_MIDISystem.h"
#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"
#include "ZAR_DAWControl/track/ZAR_DAWAudioTrack.h"
#include "support/ProToolsTest.h"
#include "support/Rendezvous.h"
#include "support/TakeCue.h"
#include "support/Watchdog.h"

namespace {

using zar::sim::SimHUIHost;
using Bytes = std::vector<std::uint8_t>;

enum class Fault { quitWhileSelectionIsTyped, quitBetweenRecordAndPlay, quitDuringDiscoveryPass, rowGoneBeforeFrameUpdate,
                   huiPortGoneMidPass, pingsStop };

// The framework on real threads: discovery passes on a pool, HUI feedback on the loopback's MIDI
// thread, the host on the test's thread (the main thread, which moves virtual time). A second Pro
// Tools runs behind the first. Each fault comes at an exact point, through a hook of the simulated
// desktop.
class ThreadFaultTest : public zar::test::ProToolsTest, public testing::WithParamInterface<Fault> {
 protected:
  ThreadFaultTest() : ProToolsTest(zar::sim::SimDispatch::Mode::threaded) {}
  void SetUp() override {
    _first = launchProTools();
    attachHUI();
    _second = launchProTools();
    _manager->setAllowed(true);
    _manager->setEnabled(true);
    _application = std::dynamic_pointer_cast<ZAR_DAWApplicationProTools>(_manager->currentApplication());
    ASSERT_TRUE(_application);
    ASSERT_EQ(_application->processIdentifier(), _first->processIdentifier());
    ASSERT_TRUE(runUntil([&] { return _application->readyForPass(); }));
  }
  void TearDown() override {
    sim.desktop->eventPoster()->setKeyboardHook({});
    sim.desktop->accessibility()->setCallHook({});
    _first->huiHost()->setReceiveHook({});
    sim.midiPorts->waitUntilIdle();
    _manager->setEnabled(false);
  }
  // Pro Tools selects the framework's ports in its peripherals dialog.
  void attachHUI() {
    _first->attachHUI(sim.midiPorts, SimHUIHost::defaultPortRequest(ZAR_MIDISystem::kDefaultHUIPortName, "loopback"));
  }
  // Any thread. Pro Tools' HUI falls silent with it.
  void quitFirst() {
    _first->huiHost()->setPinging(false);
    quit(_first);
  }
  // Runs the main loop while passes run on the pool, until the condition holds (bounded).
  bool runUntil(const std::function<bool()>& condition) {
    return zar::test::eventually([&] {
      sim.runFor(0.25);
      return condition();
    });
  }
  // The application is kept but reported without HUI: a pass shows the warning and presses
  // nothing, until `restore` brings HUI back; then a pass plays.
  void expectWithoutHUIUntil(const std::function<void()>& restore) {
    ASSERT_TRUE(runUntil([&] { return _injected && !_application->readyForPass(); }));
    const auto host = _first->huiHost();
    sim.midiPorts->waitUntilIdle();
    host->clearReceivedMessages();
    _application->rehearseWithEvent(zar::test::takeCue());
    const auto alerts = sim.desktop->alerts()->shownAlerts();
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].request.messageText, "Can't establish HUI connection");
    sim.midiPorts->waitUntilIdle();
    EXPECT_TRUE(host->receivedMessages().empty());
    restore();
    ASSERT_TRUE(runUntil([&] { return _application->readyForPass(); }));
    _application->rehearseWithEvent(zar::test::takeCue());
    sim.midiPorts->waitUntilIdle();
    EXPECT_EQ(_first->huiHost()->transportState(), SimHUIHost::TransportState::playing);
  }
  std::shared_ptr<ZAR_DAWAudioTrackMode> mode(ZAR_DAWTrackState before, ZAR_DAWTrackState during) {
    auto mode = std::make_shared<ZAR_DAWAudioTrackMode>();
    mode->setBeforeState(before);
    mode->setDuringState(during);
    mode->setAfterState(before);
    return mode;
  }

  zar::test::Watchdog _watchdog{std::chrono::seconds(120), [] {
                                  std::fputs("ThreadFaultTest hung\n", stderr);
                                  std::abort();
                                }};
  std::shared_ptr<ZAR_DAWApplicationManager> _manager = ZAR_DAWApplicationManager::sharedManager();
  std::shared_ptr<zar::sim::SimProTools> _first;
  std::shared_ptr<zar::sim::SimProTools> _second;
  std::shared_ptr<ZAR_DAWApplicationProTools> _application;
  std::atomic<bool> _injected{false};
};

TEST_P(ThreadFaultTest, NoCrashNoHangNoStrayKeyAndTheDefinedOutcome) {
  const auto event = zar::test::takeCue();
  const auto host = _first->huiHost();
  const auto& poster = sim.desktop->eventPoster();
  const auto once = [this] { return !_injected.exchange(true); };
  const Fault fault = GetParam();
  switch (fault) {
    case Fault::quitWhileSelectionIsTyped:
      poster->setKeyboardHook([this, once](std::size_t posted) {
        if (posted == 5 && once()) quitFirst();
      });
      EXPECT_FALSE(_application->setSelectionStartTC("00:59:58:00"));
      EXPECT_EQ(_first->typedText(), "") << "the keys went into the open counter";
      break;
    case Fault::quitBetweenRecordAndPlay:
      _manager->muteRecMatrix()->setRecordMode(_manager->trackModeList()->audioTrackModes()->at(3), 0);
      host->setReceiveHook([this, once](std::span<const std::uint8_t> bytes) {
        if (Bytes(bytes.begin(), bytes.end()) == Bytes{0xB0, 0x2F, 0x05} && once()) quitFirst();  // Record released
      });
      _application->recordWithEvent(event);
      _application->updateDAWTrackStatesForFrameIndex(1100);
      _application->stopPlayback();
      break;
    case Fault::quitDuringDiscoveryPass: {
      // The pass on the pool asks whether Pro Tools still answers; it quits as it is asked.
      const auto main = std::this_thread::get_id();
      const auto startField = _first->selectionStartField();
      sim.desktop->accessibility()->setCallHook([this, once, main, startField](const zar::sim::SimElement& element) {
        if (std::this_thread::get_id() != main && &element == startField.get() && once()) quitFirst();
      });
      break;
    }
    case Fault::rowGoneBeforeFrameUpdate:
      _manager->muteRecMatrix()->setRehearseMode(mode(ZAR_DAWTrackStatePlay, ZAR_DAWTrackStateMute), 1);
      _application->rehearseWithEvent(event);
      _first->removeTrack(1);  // the aux track slides into the second position
      _application->updateDAWTrackStatesForFrameIndex(1100);
      ASSERT_EQ(_application->audioTracks().size(), 2u) << "found again before the update acted";
      EXPECT_EQ(_application->audioTracks()[1]->name(), "FX ");
      sim.midiPorts->waitUntilIdle();
      EXPECT_TRUE(_first->trackMuted(1)) << "the second position mutes during the cue, whichever track it holds";
      EXPECT_TRUE(runUntil([&] { return _application->readyForPass(); })) << "the new track count's lamps learnt";
      break;
    case Fault::huiPortGoneMidPass:
      // The port goes while the pass types the cue's start: the transport's messages find it gone.
      poster->setKeyboardHook([this, once](std::size_t posted) {
        if (posted == 5 && once()) sim.midiPorts->breakPorts(ZAR_MIDISystem::kDefaultHUIPortName);
      });
      _application->rehearseWithEvent(event);
      sim.midiPorts->waitUntilIdle();
      EXPECT_EQ(host->transportState(), SimHUIHost::TransportState::stopped) << "Play never reached Pro Tools";
      // Pro Tools selects the ports again, which works only if the framework opened them again.
      expectWithoutHUIUntil([this] { attachHUI(); });
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
    EXPECT_FALSE(_application->connected());
    EXPECT_TRUE(_injected);
  } else {
    EXPECT_EQ(_manager->currentApplication(), _application) << "the application is kept";
  }
  // Every key was addressed to the first Pro Tools (and lost once it had quit); no other
  // application got a key or a click.
  for (const auto& key : poster->keyboardEvents()) EXPECT_EQ(key.psn, _application->processSerialNumber());
  for (const auto& click : poster->mouseEvents()) {
    EXPECT_TRUE(click.handledBy == 0 || click.handledBy == _first->processIdentifier());
  }
  EXPECT_EQ(sim.desktop->workspace()->hostApplication()->typedText(), "");
  EXPECT_EQ(_second->typedText(), "");
}

std::string faultName(const testing::TestParamInfo<Fault>& fault) {
  static const char* const kNames[] = {"QuitWhileSelectionIsTyped", "QuitBetweenRecordAndPlay", "QuitDuringDiscoveryPass",
                                       "RowGoneBeforeFrameUpdate",  "HUIPortGoneMidPass",       "PingsStop"};
  return kNames[static_cast<int>(fault.param)];
}

INSTANTIATE_TEST_SUITE_P(Faults, ThreadFaultTest,
                         testing::Values(Fault::quitWhileSelectionIsTyped, Fault::quitBetweenRecordAndPlay,
                                         Fault::quitDuringDiscoveryPass, Fault::rowGoneBeforeFrameUpdate,
                                         Fault::huiPortGoneMidPass, Fault::pingsStop),
                         faultName);

}  // namespace
