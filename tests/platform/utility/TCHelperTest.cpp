#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/utility/ZAR_TCHelper.h"

namespace {

TEST(TCHelper, ReadsNonDropFrameTimecode) {
  const TCTime tc = ZAR_TCHelper::tcTimeFromString("01:02:03:04");
  EXPECT_EQ(tc, (TCTime{1, 2, 3, 4, 0, 100, 0}));
}

TEST(TCHelper, ReadsDropFrameAndSubframes) {
  EXPECT_EQ(ZAR_TCHelper::tcTimeFromString("00:59:58;02"), (TCTime{0, 59, 58, 2, 0, 100, 0}));
  EXPECT_EQ(ZAR_TCHelper::tcTimeFromString("23:59:59:29.99"), (TCTime{23, 59, 59, 29, 99, 100, 0}));
  EXPECT_EQ(ZAR_TCHelper::tcTimeFromString("10:00:00;15.07"), (TCTime{10, 0, 0, 15, 7, 100, 0}));
}

TEST(TCHelper, IgnoresSurroundingBlanks) {
  EXPECT_EQ(ZAR_TCHelper::tcTimeFromString(" 01:00:00:00\n"), (TCTime{1, 0, 0, 0, 0, 100, 0}));
}

TEST(TCHelper, OtherCounterFormatsAreInvalid) {
  for (const char* text : {
           "1| 1| 000",       // bars|beats
           "5| 3| 480",       // bars|beats
           "0:00.000",        // min:sec
           "1:23:45.678",     // min:sec past an hour
           "0",               // samples
           "48000000",        // samples
           "0+00",            // feet+frames
           "1234+15.23",      // feet+frames with subframes
       }) {
    SCOPED_TRACE(text);
    EXPECT_EQ(ZAR_TCHelper::tcTimeFromString(text), TCTimeInvalid);
  }
}

TEST(TCHelper, MalformedTextsAreInvalid) {
  for (const char* text : {
           "", "   ", "01:00:00", "01:00:00:00:00", "1:00:00:00", "01:00:00:0",
           "01;00;00;00",     // drop-frame marks only the frames
           "01:00:00.00",     // subframes need four fields before them
           "01:00:00:00.",    // dangling subframe separator
           "01:00:00:00.5",   // subframes are two digits
           "01:00:00:00x",    // trailing text
           "-1:00:00:00", "0a:00:00:00",
           "24:00:00:00", "00:60:00:00", "00:00:60:00", "00:00:00:60",  // out of range
       }) {
    SCOPED_TRACE(text);
    EXPECT_EQ(ZAR_TCHelper::tcTimeFromString(text), TCTimeInvalid);
  }
}

TEST(TCHelper, InvalidRecordHasOnlyTheFlagSet) {
  EXPECT_NE(TCTimeInvalid.isInvalid, 0);
  EXPECT_EQ(TCTimeInvalid.hours + TCTimeInvalid.minutes + TCTimeInvalid.seconds + TCTimeInvalid.frames, 0u);
}

}  // namespace
