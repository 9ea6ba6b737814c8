#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "ZAR_DAWControl/daw/ZAR_DAWApplicationManager.h"
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

// How long the threads work, in seconds of real time: ZAR_STRESS_SECONDS, else 2.
double stressSeconds() {
  const char* text = std::getenv("ZAR_STRESS_SECONDS");
  const double seconds = text != nullptr ? std::atof(text) : 0;
  return seconds > 0 ? seconds : 2.0;
}

// Host threads call passes, stops and frame updates at once while the main loop ticks (discovery
// passes go to the pool, the application refreshes, Pro Tools pings and flashes its lamps), HUI
// feedback arrives on the MIDI thread, and Pro Tools quits and comes back. Whatever the
// interleaving: every call returns, nothing races, and a last pass on its own leaves every track
// in its mode's "after" state.
TEST(ManagerStress, HostThreadsPassesAndProToolsComingAndGoing) {
  zar::test::SimPlatform sim(zar::sim::SimDispatch::Mode::threaded);
  const auto launch = [&] {
    auto options = zar::test::ProToolsTest::defaultOptions();
    options.processIdentifier = sim.desktop->workspace()->unusedProcessIdentifier();
    auto proTools = std::make_shared<zar::sim::SimProTools>(options);
    EXPECT_TRUE(sim.desktop->workspace()->launch(proTools));
    proTools->attachHUI(sim.midiPorts, zar::sim::SimHUIHost::defaultPortRequest(ZAR_MIDISystem::kDefaultHUIPortName,
                                                                              "loopback"));
    return proTools;
  };
  auto proTools = launch();
  const auto manager = ZAR_DAWApplicationManager::sharedManager();
  const auto modes = manager->trackModeList()->audioTrackModes();  // Play, Mute, Input, Record
  const auto matrix = manager->muteRecMatrix();
  for (const std::int32_t position : {0, 1, 2}) {
    matrix->setRehearseMode(modes->at(static_cast<std::size_t>(position)), position);
    matrix->setReviewMode(modes->at(static_cast<std::size_t>(position)), position);
    matrix->setRecordMode(modes->at(position == 0 ? 3 : static_cast<std::size_t>(position)), position);
  }
  manager->setAllowed(true);
  manager->setEnabled(true);

  zar::test::Watchdog watchdog(std::chrono::seconds(static_cast<long>(stressSeconds()) + 120), [] {
    std::fputs("ManagerStress hung\n", stderr);
    std::abort();
  });
  constexpr int kHostThreads = 3;
  std::atomic<bool> stop{false};
  std::atomic<long> calls{0};
  std::atomic<long> readyCalls{0};  // made while Pro Tools was ready for a pass
  zar::test::Rendezvous start(kHostThreads + 1);
  std::vector<std::thread> hosts;
  for (int i = 0; i < kHostThreads; ++i) {
    hosts.emplace_back([&, i] {
      const auto event = zar::test::takeCue();
      start.arriveAndWait();
      for (long n = i; !stop.load(); ++n) {
        const auto application = manager->currentApplication();
        if (!application) {
          std::this_thread::yield();
          continue;
        }
        if (application->readyForPass()) ++readyCalls;
        switch (n % 6) {
          case 0: application->rehearseWithEvent(event); break;
          case 1: application->recordWithEvent(event); break;
          case 2: application->reviewWithEvent(event); break;
          case 3: application->stopPlayback(); break;
          default: application->updateDAWTrackStatesForFrameIndex(900 + n % 400); break;
        }
        ++calls;
      }
    });
  }
  ASSERT_TRUE(start.arriveAndWait());
  const auto began = std::chrono::steady_clock::now();
  const auto end = began + std::chrono::duration<double>(stressSeconds());
  int comebacks = 0;
  for (int round = 1; std::chrono::steady_clock::now() < end; ++round) {
    sim.runFor(0.5);
    if (round % 40 == 0) {  // Pro Tools quits; another one starts
      sim.desktop->workspace()->quit(proTools->processIdentifier());
      proTools = launch();
      ++comebacks;
    }
  }
  stop = true;
  for (auto& host : hosts) host.join();
  const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
  std::printf("%ld host calls (%ld with Pro Tools ready) in %.1f s, %.0f per second; Pro Tools back %d times\n",
              calls.load(), readyCalls.load(), elapsed, calls.load() / elapsed, comebacks);
  EXPECT_GT(calls.load(), 0);

  // Alone now: once the lamps are known again, a rehearsal's last frames and a stop leave each
  // track as its mode says after the cue (Play, Mute, Input), disarmed.
  std::shared_ptr<ZAR_DAWApplication> application;
  ASSERT_TRUE(zar::test::eventually([&] {
    sim.runFor(0.25);
    application = manager->currentApplication();
    // A quit Pro Tools' process id may have gone to the next one: the application must answer.
    return application && application->processIdentifier() == proTools->processIdentifier() &&
           application->connected() && application->readyForPass();
  }));
  sim.runFor(3.0);  // lamps of the threads' last toggles settle
  const auto event = zar::test::takeCue();
  application->rehearseWithEvent(event);
  for (int frame = 0; frame < 4; ++frame) {
    application->updateDAWTrackStatesForFrameIndex(1200);
    sim.runFor(0.25);
  }
  application->stopPlayback();
  sim.midiPorts->waitUntilIdle();
  for (std::size_t track = 0; track < 3; ++track) {
    EXPECT_EQ(proTools->trackMuted(track), track == 1) << track;
    EXPECT_EQ(proTools->inputMonitoring(track), track == 2) << track;
    EXPECT_FALSE(proTools->trackRecEnabled(track)) << track;
  }
  manager->setEnabled(false);
}

}  // namespace
