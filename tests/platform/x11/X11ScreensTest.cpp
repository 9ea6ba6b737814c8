#include "ZAR_DAWControl/platform/x11/X11Screens.h"

#include <gtest/gtest.h>

namespace {

using zar::platform::Point;
using zar::platform::Rect;
using zar::x11::X11Screens;

TEST(X11ScreensTest, MonitorsAndPointsTurnIntoBottomLeftOriginCoordinatesOfThePrimaryMonitor) {
  // The primary monitor right of a taller one whose top is 200 above the primary's.
  const std::vector<Rect> root{{{1200, 200}, {1920, 1080}}, {{0, 0}, {1200, 1920}}};
  const auto frames = X11Screens::cocoaFrames(root);
  ASSERT_EQ(frames.size(), 2u);
  EXPECT_EQ(frames[0], (Rect{{0, 0}, {1920, 1080}}));
  EXPECT_EQ(frames[1], (Rect{{-1200, -640}, {1200, 1920}}));
  EXPECT_EQ(X11Screens::cocoaPoint({1200, 200}, root[0]), (Point{0, 1080})) << "the primary's top left";
  EXPECT_EQ(X11Screens::cocoaPoint({3119, 1279}, root[0]), (Point{1919, 1})) << "its bottom right pixel";
  EXPECT_TRUE(X11Screens::cocoaFrames({}).empty());
}

}  // namespace
