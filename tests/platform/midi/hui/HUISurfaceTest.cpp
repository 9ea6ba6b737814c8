#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "ZAR_DAWControl/platform/midi/hui/HUICodec.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"
#include "ZAR_DAWControl/platform/midi/hui/HUISurface.h"

namespace {

using zar::hui::HUICodec;
using zar::hui::HUILamp;
using zar::hui::HUISurface;
using Bytes = std::vector<std::uint8_t>;
using Changes = std::vector<HUISurface::Change>;
namespace port = zar::hui::stripPort;

Bytes lamp(int strip, std::uint8_t lampPort, bool on) {
  Bytes bytes;
  for (const auto& message : {HUICodec::selectLampZone(static_cast<std::uint8_t>(strip)), HUICodec::lampPort(lampPort, on)}) {
    bytes.insert(bytes.end(), message.begin(), message.end());
  }
  return bytes;
}

/// What the host sends when a bank comes into view: both lamps of every strip.
Bytes refresh(const std::set<int>& armedStrips, const std::set<int>& mutedStrips = {}) {
  Bytes bytes;
  for (int strip = 0; strip < 8; ++strip) {
    for (const Bytes& part : {lamp(strip, port::mute, mutedStrips.count(strip) > 0),
                              lamp(strip, port::recordReady, armedStrips.count(strip) > 0)}) {
      bytes.insert(bytes.end(), part.begin(), part.end());
    }
  }
  return bytes;
}

Changes lit(Changes changes) {
  std::erase_if(changes, [](const HUISurface::Change& change) { return !change.on; });
  return changes;
}

class HUISurfaceTest : public testing::Test {
 protected:
  /// The host pinged and showed the home bank, `armed` strips armed; the surface knows all its lamps.
  void learnHomeBank(const std::set<int>& armed) {
    _surface.receive(HUICodec::ping(), 0.0, true);
    _surface.receive(refresh(armed), 0.01, true);
    _surface.tick(HUISurface::kBankSettleTime);
    _surface.tick(1.0);
    ASSERT_TRUE(_surface.lampsKnown(1.0));
    EXPECT_EQ(_surface.knownLamps().size(), 16u);
    _sent.clear();
  }
  /// Channel-selection presses the surface sent, in order.
  std::vector<int> moves() const {
    std::vector<int> result;
    zar::hui::HUIDecoder decoder;
    for (const auto& event : decoder.decode(_sent)) {
      if (event.kind == zar::hui::HUIEvent::Kind::switchPort && event.on && event.zone == zar::hui::zone::channelSelection) {
        result.push_back(event.port);
      }
    }
    return result;
  }

  Bytes _sent;
  bool _refuse = false;  // the output refuses what is sent
  double _arrives = 0;   // when the output says the host has it
  HUISurface _surface{[this](std::span<const std::uint8_t> bytes) -> std::optional<double> {
    if (_refuse) return std::nullopt;
    _sent.insert(_sent.end(), bytes.begin(), bytes.end());
    return _arrives;
  }};
};

TEST_F(HUISurfaceTest, LampsTheHostSentBeforeItSawAMoveAreNotTakenForTheNewBank) {
  ASSERT_NO_FATAL_FAILURE(learnHomeBank({}));

  ASSERT_TRUE(_surface.pressStripPort(12, port::mute, 1.0));  // track 12 onto the last strip: offset 5
  EXPECT_EQ(moves(), std::vector<int>(5, zar::hui::channelSelectionPort::channelRight));
  // A flash of the old bank (track 1 on strip 1) crosses the move on the wire, then the host
  // shows the new bank, where strip 1 is track 6, not armed, and strip 7 is track 12, now muted.
  // A full bank of lamps, the old bank's, may still be on its way too: only time tells.
  EXPECT_TRUE(_surface.receive(lamp(1, port::recordReady, true), 1.001, true).empty());
  EXPECT_TRUE(lit(_surface.receive(refresh({}, {7}), 1.002, true)).empty());
  EXPECT_FALSE(_surface.lampsKnown(1.2));
  const double settled = 1.0 + HUISurface::kBankSettleTime;
  EXPECT_TRUE(lit(_surface.tick(settled)).empty());
  EXPECT_EQ(lit(_surface.tick(settled + HUISurface::kLampDebounceWindow)), (Changes{{12, HUILamp::mute, true}}));
}

TEST_F(HUISurfaceTest, AHostThatWasAwayIsLearnedAgainAndAResetForgetsItsLamps) {
  ASSERT_NO_FATAL_FAILURE(learnHomeBank({4}));
  // Three seconds without a ping: the session may have changed, so position and lamps are learned
  // again and the bank is brought home.
  _surface.receive(HUICodec::ping(), 3.0, true);
  EXPECT_EQ(moves().size(), 8u);
  EXPECT_TRUE(_surface.knownLamps().empty());
  EXPECT_EQ(lit(_surface.tick(3.25)), (Changes{{4, HUILamp::recordReady, true}})) << "the strips' last lamps, now home";
  const Bytes reset{zar::hui::kSystemReset};
  _surface.receive(reset, 3.5, true);
  EXPECT_FALSE(_surface.bankOffset());
  EXPECT_TRUE(_surface.knownLamps().empty());
}

TEST_F(HUISurfaceTest, AMoveSettlesOnceTheHostHasItAndOneTheOutputRefusedIsLearnedAgain) {
  ASSERT_NO_FATAL_FAILURE(learnHomeBank({}));
  namespace select = zar::hui::channelSelectionPort;
  _arrives = 1.5;  // the output holds the move and the press until then
  ASSERT_TRUE(_surface.pressStripPort(12, port::mute, 1.0));
  EXPECT_EQ(_surface.nextDeadline(), 1.5 + HUISurface::kBankSettleTime);
  _refuse = true;
  ASSERT_TRUE(_surface.pressStripPort(40, port::mute, 1.1));
  _refuse = false;
  ASSERT_TRUE(_surface.pressStripPort(40, port::mute, 1.2));
  std::vector<int> expected(5, select::channelRight);  // track 12 onto the last strip
  expected.insert(expected.end(), 8, select::bankLeft);  // the refused moves never happened: home first
  expected.insert(expected.end(), 4, select::bankRight);
  expected.push_back(select::channelRight);
  EXPECT_EQ(moves(), expected);
}

}  // namespace
