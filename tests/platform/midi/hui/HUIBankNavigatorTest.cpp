#include <gtest/gtest.h>

#include <vector>

#include "ZAR_DAWControl/platform/midi/hui/HUIBankNavigator.h"
#include "ZAR_DAWControl/platform/midi/hui/HUIProtocol.h"

namespace {

using zar::hui::HUIBankNavigator;
namespace port = zar::hui::channelSelectionPort;
using Moves = std::vector<std::uint8_t>;

Moves repeat(std::uint8_t p, int n) { return Moves(static_cast<std::size_t>(n), p); }
Moves join(Moves a, const Moves& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST(HUIBankNavigator, LearnsThePositionFirstThenMovesOnlyAsFarAsNeeded) {
  HUIBankNavigator navigator;
  EXPECT_FALSE(navigator.trackForStrip(0));
  EXPECT_EQ(navigator.movesToShow(3), repeat(port::bankLeft, 8));
  EXPECT_EQ(navigator.offset(), 0);
  EXPECT_TRUE(navigator.movesToShow(7).empty());
  // Track 8 lands on the last strip: one channel to the right.
  EXPECT_EQ(navigator.movesToShow(8), repeat(port::channelRight, 1));
  EXPECT_EQ(navigator.trackForStrip(7), 8);
  // Track 63: window 56..63, from 1: six banks and seven channels.
  EXPECT_EQ(navigator.movesToShow(63), join(repeat(port::bankRight, 6), repeat(port::channelRight, 7)));
  EXPECT_EQ(navigator.offset(), 56);
  // Going left puts the track on the first strip.
  EXPECT_EQ(navigator.movesToShow(37), join(repeat(port::bankLeft, 2), repeat(port::channelLeft, 3)));
  EXPECT_EQ(navigator.trackForStrip(0), 37);
  EXPECT_EQ(navigator.trackForStrip(8), std::nullopt);
}

TEST(HUIBankNavigator, OutOfRangeTracksMoveNothingAndForgettingRelearns) {
  HUIBankNavigator navigator;
  EXPECT_TRUE(navigator.movesToShow(-1).empty());
  EXPECT_TRUE(navigator.movesToShow(64).empty());
  EXPECT_FALSE(navigator.offset());
  navigator.movesToShow(20);
  navigator.forget();
  EXPECT_EQ(navigator.movesToShow(20), join(repeat(port::bankLeft, 8), join(repeat(port::bankRight, 1),
                                                                              repeat(port::channelRight, 5))));
}

TEST(HUIBankNavigator, NeverAsksForAWindowBeyondTheTrackItShows) {
  // Whatever the path, the track ends in view and the window never starts before track-7, so
  // moving right never asks a session that has the track to go past its end.
  for (int from = 0; from < 64; ++from) {
    for (int track = 0; track < 64; ++track) {
      HUIBankNavigator navigator;
      navigator.movesToShow(from);
      navigator.movesToShow(track);
      const int offset = *navigator.offset();
      EXPECT_LE(offset, track);
      EXPECT_GE(offset, track - 7);
    }
  }
}

}  // namespace
