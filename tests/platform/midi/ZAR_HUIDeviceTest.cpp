#include "ZAR_DAWControl/platform/midi/ZAR_HUIDevice.h"

#include <gtest/gtest.h>

#include <thread>

#include "ZAR_DAWControl/platform/midi/ZAR_MIDIOutput.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"
#include "support/HUISimulation.h"
#include "support/Rendezvous.h"

namespace {

using zar::sim::SimHUIHost;
using zar::test::HUISimulation;
using zar::test::RecordingDelegate;
using Presses = std::vector<std::pair<int, int>>;
using Bytes = std::vector<std::uint8_t>;

constexpr int kSelect = zar::hui::zone::channelSelection;

TEST(ZAR_HUIDevice, AnswersEveryPingANewDeviceKnowsTheHistoryAndConnectedLastsTwoSecondsAfterTheLastPing) {
  HUISimulation sim;
  auto host = sim.makeHost(8);
  auto first = std::make_unique<ZAR_HUIDevice>(sim.system);
  EXPECT_FALSE(first->connected());
  sim.run(3.0);
  EXPECT_EQ(host->pingRepliesReceived(), 3u);
  EXPECT_EQ(sim.system->huiPingCount(), 3u);
  EXPECT_TRUE(first->connected());
  first.reset();
  sim.run(1.0);  // a ping no device answers
  EXPECT_EQ(sim.system->huiPingCount(), 4u);
  EXPECT_EQ(host->pingRepliesReceived(), 3u);
  sim.clock->advanceBy(0.1);
  ZAR_HUIDevice second(sim.system);
  EXPECT_TRUE(second.connected());
  sim.run(1.0);
  EXPECT_EQ(host->pingRepliesReceived(), 4u);

  host->setPinging(false);  // HUI deselected in Pro Tools; the last ping came at 1005
  sim.clock->advanceTo(1006.999);
  EXPECT_TRUE(second.connected());
  sim.clock->advanceTo(1007.0);
  EXPECT_FALSE(second.connected());
  host->setPinging(true);
  sim.run(1.0);
  EXPECT_TRUE(second.connected());
}

/// Runs until the device knows every lamp (Pro Tools pinged, the bank is home and surveyed).
void connect(HUISimulation& sim, const ZAR_HUIDevice& device) {
  ASSERT_TRUE(sim.runUntil([&] { return device.lampsKnown(); }, 10.0));
}

TEST(ZAR_HUIDevice, TogglesReachTheRightStripOfTheRightBank) {
  HUISimulation sim;
  auto host = sim.makeHost(64);
  ZAR_HUIDevice device(sim.system);
  sim.run(1.0);  // the first ping: the device brings the bank home at once
  EXPECT_EQ(sim.pressesReceived(), Presses(8, {kSelect, 1}));
  connect(sim, device);
  host->clearReceivedMessages();

  device.toggleTrackRecEnabledForTrackIndex(0);
  device.toggleTrackRecEnabledForTrackIndex(7);
  sim.settle();
  EXPECT_EQ(sim.pressesReceived(), (Presses{{0, 7}, {7, 7}}));
  host->clearReceivedMessages();

  device.toggleTrackRecEnabledForTrackIndex(8);
  sim.settle();
  EXPECT_EQ(sim.pressesReceived(), (Presses{{kSelect, 2}, {7, 7}}));
  host->clearReceivedMessages();

  device.toggleTrackRecEnabledForTrackIndex(63);
  device.toggleTrackMuteForTrackIndex(60);
  device.toggleTrackMuteForTrackIndex(-1);
  device.toggleTrackRecEnabledForTrackIndex(64);
  sim.settle();
  Presses expected(6, {kSelect, 3});  // six banks right, seven channels right, then the two strips
  expected.insert(expected.end(), 7, {kSelect, 2});
  expected.insert(expected.end(), {{7, 7}, {4, 2}});
  EXPECT_EQ(sim.pressesReceived(), expected);
  EXPECT_EQ(host->bankOffset(), 56);

  const auto tracks = host->tracks();
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    EXPECT_EQ(tracks[i].recEnabled, i == 0 || i == 7 || i == 8 || i == 63) << "track " << i;
    EXPECT_EQ(tracks[i].muted, i == 60) << "track " << i;
  }
}

class ZAR_HUIDeviceShortSession : public ::testing::TestWithParam<bool> {};

TEST_P(ZAR_HUIDeviceShortSession, TheLastTrackIsReachedWhereverTheHostClampsTheBank) {
  HUISimulation sim;
  SimHUIHost::Options options;
  options.fillChannelStripsWhenBanking = GetParam();
  auto host = sim.makeHost(12, options);
  ZAR_HUIDevice device(sim.system);
  device.setTrackCount(12);
  connect(sim, device);
  device.toggleTrackRecEnabledForTrackIndex(11);
  device.toggleTrackMuteForTrackIndex(4);
  sim.settle();
  EXPECT_EQ(host->bankOffset(), 4);
  const auto tracks = host->tracks();
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    EXPECT_EQ(tracks[i].recEnabled, i == 11) << "track " << i;
    EXPECT_EQ(tracks[i].muted, i == 4) << "track " << i;
  }
}

INSTANTIATE_TEST_SUITE_P(FillChannelStrips, ZAR_HUIDeviceShortSession, ::testing::Bool());

/// A session of some tracks, a device whose delegate records, and the device connected to the host
/// with every lamp known; the delegate has been told nothing yet.
class ConnectedHUIDevice : public testing::Test {
 protected:
  void start(int tracks) {
    host = sim.makeHost(tracks);
    device->setDelegate(delegate);
    connect(sim, *device);
    delegate->clear();
  }

  HUISimulation sim;
  std::shared_ptr<SimHUIHost> host;
  std::shared_ptr<ZAR_HUIDevice> device = std::make_shared<ZAR_HUIDevice>(sim.system);
  std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
};

TEST_F(ConnectedHUIDevice, LampsMapBackToTracksAndFlashingIsDebounced) {
  start(64);

  device->toggleTrackRecEnabledForTrackIndex(20);  // window 13..20, strip 7
  sim.run(6.0);                                    // armed and stopped: the lamp flashes all along
  EXPECT_EQ(delegate->values(false, 20), (std::vector<bool>{true}));
  EXPECT_EQ(delegate->values(false, 13), (std::vector<bool>{false}));
  EXPECT_TRUE(delegate->values(false, 21).empty());  // never in view

  // Record then play: recording, the lamp goes solid; nothing changes for the framework.
  auto transport = sim.system->midiOutputForEventType(ZAR_MIDISystem::kHUIEventType);
  for (const Bytes& message : {Bytes{0xB0, 0x0F, 0x0E}, Bytes{0xB0, 0x2F, 0x45}, Bytes{0xB0, 0x0F, 0x0E},
                               Bytes{0xB0, 0x2F, 0x05}, Bytes{0xB0, 0x0F, 0x0E}, Bytes{0xB0, 0x2F, 0x44}}) {
    EXPECT_TRUE(transport->sendMIDIMessage(message));
  }
  sim.run(3.0);
  EXPECT_EQ(host->transportState(), SimHUIHost::TransportState::recording);
  EXPECT_EQ(delegate->values(false, 20), (std::vector<bool>{true}));

  // The user disarms the track in Pro Tools: reported once the lamp stayed off for the window.
  host->setTrackRecEnabled(20, false);
  sim.run(0.7);
  EXPECT_EQ(delegate->values(false, 20), (std::vector<bool>{true}));
  sim.run(0.1);
  EXPECT_EQ(delegate->values(false, 20), (std::vector<bool>{true, false}));
}

TEST_F(ConnectedHUIDevice, ImplicitSoloMutesAreNotMutesButTheTracksOwnMuteIs) {
  start(16);
  device->toggleTrackMuteForTrackIndex(3);  // the device's own press: its caller knows
  host->setTrackSoloed(5, true);             // every other track now flashes its mute
  sim.run(6.0);
  EXPECT_TRUE(host->track(3)->muted);
  for (const int track : {2, 3, 7}) EXPECT_TRUE(delegate->values(true, track).empty()) << "no change of " << track;
  host->setTrackMuted(3, false);  // now only implicitly muted: unmuted at the first dark flash
  sim.run(0.6);
  EXPECT_EQ(delegate->values(true, 3), (std::vector<bool>{false}));
}

TEST_F(ConnectedHUIDevice, MovingAwayFromAFlashingTrackKeepsItArmed) {
  start(64);
  device->toggleTrackRecEnabledForTrackIndex(2);
  sim.run(1.0);
  sim.runLoop->runFor(0.5);  // now mid-flash with the lamp off
  sim.settle();
  device->toggleTrackMuteForTrackIndex(40);
  sim.run(5.0);
  EXPECT_TRUE(delegate->values(false, 2).empty()) << "no dark flash taken for a disarm";
  // What the device knows, told to a new delegate.
  auto late = std::make_shared<RecordingDelegate>();
  device->setDelegate(late);
  device->setTrackCount(64);
  EXPECT_EQ(late->values(false, 2), (std::vector<bool>{true}));
  late.reset();
  // The MIDI thread holds the delegate only while it tells it something.
  EXPECT_TRUE(zar::test::eventually([&] { return device->delegate() == nullptr; })) << "the delegate is held weakly";
}

TEST(ZAR_HUIDevice, GarbageFromTheHostSideIsIgnored) {
  HUISimulation sim;
  auto host = sim.makeHost(8);
  ZAR_HUIDevice device(sim.system);
  auto delegate = std::make_shared<RecordingDelegate>();
  device.setDelegate(delegate);
  auto rogue = sim.midiPorts->open({"loopback", "rogue", "", ZAR_MIDISystem::kDefaultHUIPortName},
                                  [](std::span<const std::uint8_t>) {});
  ASSERT_NE(rogue, nullptr);
  rogue->send(Bytes{0x2C, 0x42, 0xB0, 0x2C, 0x47, 0xB0, 0x0C});            // lamp without zone, cut select
  rogue->send(Bytes{0x07, 0x2C, 0x47, 0xF0, 0x01, 0x02, 0xB0, 0x2C, 0x22});  // strip 7 lamp, before any move
  rogue->send(Bytes{0xB0, 0x0C, 0x7F, 0x2C, 0x47, 0x9F, 0x00, 0x00, 0xFF, 0xF7});
  sim.run(1.0);
  EXPECT_EQ(host->pingRepliesReceived(), 1u);
  EXPECT_TRUE(delegate->reports().empty());
}

TEST(ZAR_HUIDevice, TransportOutputSendsOnlyWellFormedMessagesAndOnlyForHUI) {
  HUISimulation sim;
  auto host = sim.makeHost(8);
  EXPECT_EQ(sim.system->midiOutputForEventType(7), nullptr);
  auto output = sim.system->midiOutputForEventType(ZAR_MIDISystem::kHUIEventType);
  ASSERT_NE(output, nullptr);
  sim.run(1.0);  // the host finds the ports at its next ping
  host->clearReceivedMessages();
  EXPECT_FALSE(output->sendMIDIMessage(Bytes{}));
  EXPECT_FALSE(output->sendMIDIMessage(Bytes{0x0F, 0x0E}));
  EXPECT_FALSE(output->sendMIDIMessage(Bytes{0xB0, 0x0F, 0x0E, 0x2F}));
  EXPECT_FALSE(output->sendMIDIMessage(Bytes{0xB0, 0x8F, 0x0E}));
  EXPECT_TRUE(output->sendMIDIMessage(Bytes{0xB0, 0x0F, 0x0E}));
  EXPECT_TRUE(output->sendMIDIMessage(Bytes{0xB0, 0x2F, 0x44}));
  sim.settle();
  EXPECT_EQ(host->receivedMessages(), (std::vector<Bytes>{{0xB0, 0x0F, 0x0E}, {0xB0, 0x2F, 0x44}}));
  EXPECT_EQ(host->pingRepliesReceived(), 0u);  // no device: pings go unanswered
  EXPECT_EQ(host->transportState(), SimHUIHost::TransportState::playing);

  // A toggle between a transport zone select and its port does not redirect the port.
  ZAR_HUIDevice device(sim.system);
  sim.run(1.0);
  output->sendMIDIMessage(Bytes{0xB0, 0x0F, 0x0E});
  device.toggleTrackMuteForTrackIndex(2);  // selects strip 2 on the wire
  output->sendMIDIMessage(Bytes{0xB0, 0x2F, 0x43});
  sim.settle();
  EXPECT_EQ(host->transportState(), SimHUIHost::TransportState::stopped);
  EXPECT_TRUE(host->track(2)->muted);
}

TEST_F(ConnectedHUIDevice, TogglesFromSeveralThreadsWhileMIDIArrives) {
  start(64);
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < 20; ++i) {
        device->toggleTrackMuteForTrackIndex((t * 20 + i * 7) % 64);
        (void)device->connected();
      }
    });
  }
  sim.run(3.0);
  for (auto& thread : threads) thread.join();
  sim.settle();
  // Every press landed on its own track: each track flipped as often as it was toggled.
  std::vector<int> toggles(64, 0);
  for (int t = 0; t < 3; ++t)
    for (int i = 0; i < 20; ++i) ++toggles[static_cast<std::size_t>((t * 20 + i * 7) % 64)];
  const auto tracks = host->tracks();
  for (std::size_t i = 0; i < 64; ++i) EXPECT_EQ(tracks[i].muted, toggles[i] % 2 == 1) << "track " << i;
}

}  // namespace
