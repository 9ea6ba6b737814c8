#include "ZAR_DAWControl/platform/sim/SimHUIHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "ZAR_DAWControl/platform/midi/hui/HUICodec.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"
#include "support/HUISimulation.h"

namespace {

using zar::hui::HUICodec;
using zar::hui::HUIDecoder;
using zar::hui::HUIEvent;
using zar::sim::SimHUIHost;
using zar::test::HUISimulation;
using Bytes = std::vector<std::uint8_t>;

/// The surface end of the framework's HUI ports, played by the test by hand.
class HandSurface {
 public:
  explicit HandSurface(HUISimulation& sim) : _sim(sim) {
    _pair = sim.loopback->open({"loopback", ZAR_MIDISystem::kDefaultHUIPortName, "", ""},
                               [this](std::span<const std::uint8_t> bytes) {
                                 std::lock_guard lock(_mutex);
                                 for (const auto& e : _decoder.decode(bytes)) _events.push_back(e);
                               });
  }
  void press(std::uint8_t zone, std::uint8_t port) {
    for (const auto& m : HUICodec::buttonPress(zone, port)) _pair->send(m);
    _sim.settle();
  }
  std::vector<HUIEvent> takeEvents() {
    std::lock_guard lock(_mutex);
    return std::exchange(_events, {});
  }
  /// The lamp events of one port, by strip.
  std::vector<std::pair<int, bool>> lamps(std::uint8_t port) {
    std::vector<std::pair<int, bool>> lamps;
    for (const auto& e : takeEvents())
      if (e.kind == HUIEvent::Kind::lamp && e.port == port) lamps.emplace_back(e.zone, e.on);
    return lamps;
  }

 private:
  HUISimulation& _sim;
  std::mutex _mutex;
  HUIDecoder _decoder;
  std::vector<HUIEvent> _events;
  std::shared_ptr<zar::platform::MidiPortPair> _pair;
};

constexpr std::uint8_t kSelect = zar::hui::zone::channelSelection;
constexpr std::uint8_t kTransport = zar::hui::zone::transport;
namespace bank = zar::hui::channelSelectionPort;

TEST(SimHUIHost, PingsEverySecondUntilToldToStopAndCountsReplies) {
  HUISimulation sim;
  HandSurface surface(sim);
  auto host = sim.makeHost(4);
  surface.takeEvents();
  sim.run(3.0);
  int pings = 0;
  for (const auto& e : surface.takeEvents()) pings += e.kind == HUIEvent::Kind::ping;
  EXPECT_EQ(pings, 3);
  host->setPinging(false);
  sim.run(3.0);
  for (const auto& e : surface.takeEvents()) EXPECT_NE(e.kind, HUIEvent::Kind::ping);
  EXPECT_EQ(host->pingRepliesReceived(), 0u);
}

TEST(SimHUIHost, TransportFollowsStopPlayAndRecord) {
  HUISimulation sim;
  HandSurface surface(sim);
  auto host = sim.makeHost(4);
  surface.press(kTransport, zar::hui::transportPort::play);
  EXPECT_EQ(host->transportState(), SimHUIHost::TransportState::playing);
  surface.press(kTransport, zar::hui::transportPort::stop);
  EXPECT_EQ(host->transportState(), SimHUIHost::TransportState::stopped);
  surface.press(kTransport, zar::hui::transportPort::record);
  EXPECT_TRUE(host->recordArmed());
  EXPECT_EQ(host->transportState(), SimHUIHost::TransportState::stopped);
  surface.press(kTransport, zar::hui::transportPort::play);
  EXPECT_EQ(host->transportState(), SimHUIHost::TransportState::recording);
  surface.press(kTransport, zar::hui::transportPort::stop);
  EXPECT_EQ(host->transportState(), SimHUIHost::TransportState::stopped);
  EXPECT_FALSE(host->recordArmed());
  // Every message was recorded, releases included: five presses of four messages.
  EXPECT_EQ(host->receivedMessages().size(), 20u);
}

TEST(SimHUIHost, BanksClampAtBothEndsAsProToolsDoes) {
  struct Case {
    bool fill;
    std::vector<std::uint8_t> moves;
    int offset;
  };
  const std::vector<Case> cases{
      {false, {bank::bankRight}, 8},
      {false, {bank::bankRight, bank::bankRight}, 8},  // 16 would show nothing of 12 tracks
      {false, {bank::bankRight, bank::channelRight, bank::channelRight, bank::channelRight, bank::channelRight}, 11},
      {true, {bank::bankRight}, 4},
      {true, {bank::bankRight, bank::bankRight, bank::channelRight}, 4},
      {true, {bank::bankRight, bank::bankLeft}, 0},
      {false, {bank::bankLeft, bank::channelLeft}, 0},
      {false, {bank::channelRight, bank::channelRight, bank::bankLeft}, 0},
  };
  for (const auto& c : cases) {
    HUISimulation sim;
    HandSurface surface(sim);
    SimHUIHost::Options options;
    options.fillChannelStripsWhenBanking = c.fill;
    auto host = sim.makeHost(12, options);
    for (const auto move : c.moves) surface.press(kSelect, move);
    EXPECT_EQ(host->bankOffset(), c.offset) << "fill " << c.fill << ", " << c.moves.size() << " moves";
  }
}

TEST(SimHUIHost, StripPressesToggleTheTrackInViewAndLampsFollow) {
  HUISimulation sim;
  HandSurface surface(sim);
  auto host = sim.makeHost(10);
  std::vector<std::size_t> changed;
  host->setTrackChangeCallback([&changed](std::size_t index) { changed.push_back(index); });
  // The whole bank's lamps come when the surface appears: all off.
  EXPECT_EQ(surface.lamps(zar::hui::stripPort::mute).size(), 8u);

  surface.press(kSelect, bank::bankRight);  // tracks 8, 9 on strips 0, 1; strips 2-7 empty
  const auto resent = surface.lamps(zar::hui::stripPort::recordReady);
  EXPECT_EQ(resent.size(), 8u);
  surface.press(1, zar::hui::stripPort::mute);
  surface.press(2, zar::hui::stripPort::mute);  // empty strip: nothing
  EXPECT_TRUE(host->track(9)->muted);
  EXPECT_EQ(changed, (std::vector<std::size_t>{9}));
  EXPECT_EQ(surface.lamps(zar::hui::stripPort::mute), (std::vector<std::pair<int, bool>>{{1, true}}));

  host->setTrackRecEnabled(8, true);  // as the user clicks in Pro Tools
  EXPECT_EQ(changed, (std::vector<std::size_t>{9, 8}));
  sim.settle();
  EXPECT_EQ(surface.lamps(zar::hui::stripPort::recordReady), (std::vector<std::pair<int, bool>>{{0, true}}));
  // Armed and stopped: the lamp flashes every half second.
  sim.run(2.0);
  EXPECT_EQ(surface.lamps(zar::hui::stripPort::recordReady),
            (std::vector<std::pair<int, bool>>{{0, false}, {0, true}, {0, false}, {0, true}}));
}

TEST(SimHUIHost, OpensItsPortsOnceTheSurfacesPortsExist) {
  HUISimulation sim;
  auto host = sim.makeHost(4);
  EXPECT_FALSE(host->portsOpen());
  HandSurface surface(sim);
  sim.run(1.0);
  EXPECT_TRUE(host->portsOpen());
  bool pinged = false;
  for (const auto& e : surface.takeEvents()) pinged = pinged || e.kind == HUIEvent::Kind::ping;
  EXPECT_TRUE(pinged);
  EXPECT_FALSE(host->track(4));
}

}  // namespace

namespace {

TEST(SimHUIHost, ClearingTheChangeCallbackWaitsForACallInProgress) {
  // Whoever clears the callback (the simulated Pro Tools going away) may be destroyed right after:
  // a call still running on the MIDI thread must have ended by then.
  HUISimulation sim;
  auto host = sim.makeHost(4);
  std::promise<void> entered;
  std::promise<void> release;
  std::atomic<bool> finished{false};
  host->setTrackChangeCallback([&](std::size_t) {
    entered.set_value();
    release.get_future().wait();
    finished = true;
  });
  std::thread user([&] { host->setTrackMuted(0, true); });
  entered.get_future().wait();
  std::thread quitting([&] {
    host->setTrackChangeCallback({});
    EXPECT_TRUE(finished.load());
  });
  release.set_value();
  quitting.join();
  user.join();
}

}  // namespace
