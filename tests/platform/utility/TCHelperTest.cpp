#include "ZAR_DAWControl/platform/utility/ZAR_TCHelper.h"

#include <gtest/gtest.h>

namespace {

TEST(TCHelper, ReadsTimecodeWithDropFrameAndSubframesIgnoringSurroundingBlanks) {
  const std::pair<const char*, TCTime> read[] = {
      {"01:02:03:04", {1, 2, 3, 4, 0, 100, 0}},        {"00:59:58;02", {0, 59, 58, 2, 0, 100, 0}},
      {"23:59:59:29.99", {23, 59, 59, 29, 99, 100, 0}}, {"10:00:00;15.07", {10, 0, 0, 15, 7, 100, 0}},
      {" 01:00:00:00\n", {1, 0, 0, 0, 0, 100, 0}}};
  for (const auto& [text, time] : read) EXPECT_EQ(ZAR_TCHelper::tcTimeFromString(text), time) << text;
  EXPECT_NE(TCTimeInvalid.isInvalid, 0);
  EXPECT_EQ(TCTimeInvalid.hours + TCTimeInvalid.minutes + TCTimeInvalid.seconds + TCTimeInvalid.frames, 0u);
}

TEST(TCHelper, OtherCounterFormatsAndMalformedTextsAreInvalid) {
  for (const char* text : {
           "1| 1| 000", "5| 3| 480", "0:00.000", "1:23:45.678", "0", "48000000", "0+00", "1234+15.23",  // other formats
           "", "   ", "01:00:00", "01:00:00:00:00", "1:00:00:00", "01:00:00:0",
           "01;00;00;00",    // drop-frame marks only the frames
           "01:00:00.00",    // subframes need four fields before them
           "01:00:00:00.",   // dangling subframe separator
           "01:00:00:00.5",  // subframes are two digits
           "01:00:00:00x", "-1:00:00:00", "0a:00:00:00",
           "24:00:00:00", "00:60:00:00", "00:00:60:00", "00:00:00:60",  // out of range
       }) {
    EXPECT_EQ(ZAR_TCHelper::tcTimeFromString(text), TCTimeInvalid) << text;
  }
}

}  // namespace
