#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "ZAR_DAWControl/platform/midi/hui/HUICodec.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIDecoder.h"

namespace {

using zar::hui::HUICodec;
using zar::hui::HUIDecoder;
using zar::hui::HUIEvent;
using zar::hui::HUIMessage;
using Kind = zar::hui::HUIEvent::Kind;
using Bytes = std::vector<std::uint8_t>;

Bytes concat(std::initializer_list<HUIMessage> messages) {
  Bytes bytes;
  for (const auto& m : messages) bytes.insert(bytes.end(), m.begin(), m.end());
  return bytes;
}

TEST(HUICodec, EncodesTheKnownBytes) {
  EXPECT_EQ(HUICodec::ping(), (HUIMessage{0x90, 0x00, 0x00}));
  EXPECT_EQ(HUICodec::pingReply(), (HUIMessage{0x90, 0x00, 0x7F}));
  EXPECT_EQ(HUICodec::buttonPress(0x0E, 5), (std::array<HUIMessage, 4>{HUIMessage{0xB0, 0x0F, 0x0E}, {0xB0, 0x2F, 0x45},
                                                                        {0xB0, 0x0F, 0x0E}, {0xB0, 0x2F, 0x05}}));
  EXPECT_EQ(HUICodec::lampPort(2, true), (HUIMessage{0xB0, 0x2C, 0x42}));
  EXPECT_EQ(HUICodec::selectLampZone(7), (HUIMessage{0xB0, 0x0C, 0x07}));
}

TEST(HUICodec, EveryButtonPressRoundTripsThroughTheDecoder) {
  for (std::uint8_t zone = 0; zone < 0x1E; ++zone) {
    for (std::uint8_t port = 0; port < 8; ++port) {
      const auto [select, on, again, off] = HUICodec::buttonPress(zone, port);
      EXPECT_EQ(HUIDecoder().decode(concat({select, on, again, off})),
                (std::vector<HUIEvent>{{Kind::switchPort, zone, port, true}, {Kind::switchPort, zone, port, false}}));
    }
  }
}

TEST(HUICodec, LampsRoundTripAndKeepTheZoneUntilTheNextSelect) {
  HUIDecoder decoder;
  const auto events = decoder.decode(concat({HUICodec::selectLampZone(3), HUICodec::lampPort(2, true),
                                             HUICodec::lampPort(7, false), HUICodec::selectLampZone(5),
                                             HUICodec::lampPort(7, true)}));
  const std::vector<HUIEvent> expected{{Kind::lamp, 3, 2, true}, {Kind::lamp, 3, 7, false}, {Kind::lamp, 5, 7, true}};
  EXPECT_EQ(events, expected);
  // The zone outlives the call: a later chunk addresses it still.
  EXPECT_EQ(decoder.decode(Bytes{0xB0, 0x2C, 0x03}), (std::vector<HUIEvent>{{Kind::lamp, 5, 3, false}}));
}

TEST(HUIDecoder, IgnoresWhatIsNotHUI) {
  HUIDecoder decoder;
  const Bytes noise{
      0xB0, 0x2C, 0x42,        // lamp before any zone select
      0xB1, 0x0C, 0x02,        // other channel
      0xB0, 0x0C, 0x02,        // zone 2 selected
      0xB0, 0x2C, 0x22,        // Pro Tools' "unknown"
      0xB0, 0x2C, 0x49,        // port 9 does not exist
      0xB0, 0x2C, 0x62,        // neither on nor off
      0x91, 0x00, 0x00,        // a "ping" on channel 2
      0x90, 0x05, 0x00,        // a note that is no ping
      0xC0, 0x05,              // program change
      0xF0, 0x00, 0x00, 0x66, 0x05, 0x00, 0x10, 0x00, 0x41, 0x42, 0x43, 0x44, 0xF7,  // display text
      0x90, 0x00, 0x00,        // a real ping at last
  };
  EXPECT_EQ(decoder.decode(noise), (std::vector<HUIEvent>{{Kind::ping}}));
  // The zone selected in the middle survived the noise.
  EXPECT_EQ(decoder.decode(Bytes{0xB0, 0x2C, 0x47}), (std::vector<HUIEvent>{{Kind::lamp, 2, 7, true}}));
}

// Framing (running status, chunks, real-time bytes, exclusives) is the splitter's, pinned by its tests.
TEST(HUIDecoder, PingsInBothFormsAndASystemResetThatForgetsTheZoneRunningStatusAndAMessageUnderWay) {
  HUIDecoder decoder;
  EXPECT_EQ(decoder.decode(Bytes{0x90, 0x00, 0x00, 0x80, 0x00, 0x40, 0x90, 0x00, 0x7F, 0x00, 0x00}),
            (std::vector<HUIEvent>{{Kind::ping}, {Kind::ping}, {Kind::pingReply}, {Kind::ping}}));
  EXPECT_EQ(decoder.decode(Bytes{0xB0, 0x0C, 0x01, 0xB0, 0x0C}), (std::vector<HUIEvent>{}));
  EXPECT_EQ(decoder.decode(Bytes{0xFF, 0x2C, 0x42, 0xB0, 0x2C, 0x42}), (std::vector<HUIEvent>{{Kind::systemReset}}));
}

}  // namespace
