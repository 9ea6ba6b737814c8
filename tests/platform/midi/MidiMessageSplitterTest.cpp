#include <gtest/gtest.h>

#include <vector>

#include "ZAR_DAWControl/platform/midi/MidiMessageSplitter.h"

namespace {

using zar::platform::MidiMessageSplitter;
using Bytes = std::vector<std::uint8_t>;
using Messages = std::vector<Bytes>;

TEST(MidiMessageSplitter, WritesOutRunningStatusAndKeepsItAcrossCalls) {
  MidiMessageSplitter splitter;
  EXPECT_EQ(splitter.split(Bytes{0xB0, 0x0C, 0x08, 0x2C, 0x40, 0x2C}),
            (Messages{{0xB0, 0x0C, 0x08}, {0xB0, 0x2C, 0x40}}));
  EXPECT_EQ(splitter.split(Bytes{0x41, 0xC0, 0x05, 0x06}), (Messages{{0xB0, 0x2C, 0x41}, {0xC0, 0x05}, {0xC0, 0x06}}));
}

TEST(MidiMessageSplitter, RealTimeExclusiveAndStrayBytes) {
  MidiMessageSplitter splitter;
  EXPECT_EQ(splitter.split(Bytes{0x40, 0xF7, 0x90, 0xF8, 0x00, 0x7F, 0xF0, 0x00, 0x66, 0xF7, 0x01, 0xFF}),
            (Messages{{0xF8}, {0x90, 0x00, 0x7F}, {0xF0, 0x00, 0x66, 0xF7}, {0xFF}}));
  // An exclusive cut short by a status byte is dropped; the new message stands.
  EXPECT_EQ(splitter.split(Bytes{0xF0, 0x01, 0x90, 0x00, 0x00}), (Messages{{0x90, 0x00, 0x00}}));
}

}  // namespace
