#include <gtest/gtest.h>

#include <string>

#include "ZAR_DAWControl/modes/Utf8Text.h"

namespace {

using zar::modes::utf8TextFromBytes;

const std::string replacement = "\xEF\xBF\xBD";

TEST(Utf8Text, WellFormedTextIsKeptByteForByte) {
  const std::string samples[] = {
      "",
      "Record",
      std::string("nul\0inside", 10),
      "\xC3\x84rger \xE2\x82\xAC",      // two- and three-byte characters
      "\xF0\x9F\x8E\xAC clap",           // four bytes
      "\xF4\x8F\xBF\xBF\xEF\xBF\xBF",    // the highest code point and U+FFFF
      "\xED\x9F\xBF\xEE\x80\x80",        // just below and above the surrogates
  };
  for (const std::string& sample : samples) EXPECT_EQ(utf8TextFromBytes(sample), sample);
}

TEST(Utf8Text, EachIllFormedSequenceBecomesOneReplacement) {
  EXPECT_EQ(utf8TextFromBytes("Caf\xE9"), "Caf" + replacement) << "Latin-1";
  EXPECT_EQ(utf8TextFromBytes("\x80\xBF"), replacement + replacement) << "stray continuation bytes";
  EXPECT_EQ(utf8TextFromBytes("\xC0\x80"), replacement + replacement) << "overlong NUL";
  EXPECT_EQ(utf8TextFromBytes("\xE0\x80\x80"), replacement + replacement + replacement) << "overlong";
  EXPECT_EQ(utf8TextFromBytes("\xED\xA0\x80"), replacement + replacement + replacement) << "surrogate";
  EXPECT_EQ(utf8TextFromBytes("\xF4\x90\x80\x80"), replacement + replacement + replacement + replacement)
      << "above U+10FFFF";
  EXPECT_EQ(utf8TextFromBytes("\xF5\xFF"), replacement + replacement);
}

TEST(Utf8Text, TruncatedCharacterIsReplacedAsAWholeAndTheNextOneKept) {
  EXPECT_EQ(utf8TextFromBytes("\xE2\x82" "A"), replacement + "A");
  EXPECT_EQ(utf8TextFromBytes("x\xF0\x9F\x8E"), "x" + replacement) << "cut off at the end";
  EXPECT_EQ(utf8TextFromBytes("\xC3\xC3\x84"), replacement + "\xC3\x84");
}

}  // namespace
