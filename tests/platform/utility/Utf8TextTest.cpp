#include "ZAR_DAWControl/platform/utility/Utf8Text.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

using zar::platform::Utf8Text;

const std::string fffd = "\xEF\xBF\xBD";  // U+FFFD in UTF-8

TEST(Utf8Text, WellFormedTextIsKeptByteForByteAndEveryKindOfCodePointRoundTrips) {
  const std::string samples[] = {
      "",
      "Record",
      std::string("nul\0inside", 10),
      "\xC3\x84rger \xE2\x82\xAC",    // two- and three-byte characters
      "\xF0\x9F\x8E\xAC clap",         // four bytes
      "\xF4\x8F\xBF\xBF\xEF\xBF\xBF",  // the highest code point and U+FFFF
      "\xED\x9F\xBF\xEE\x80\x80",      // just below and above the surrogates
  };
  for (const std::string& sample : samples) EXPECT_EQ(Utf8Text::repaired(sample), sample);
  for (const char32_t c : {U'\0', U'A', U'\u00E9', U'\u20AC', U'\U0001F600', U'\U0010FFFF'}) {
    EXPECT_EQ(Utf8Text::decode(Utf8Text::encode(c)), std::u32string(1, c)) << static_cast<unsigned>(c);
  }
  EXPECT_EQ(Utf8Text::encode(0xD800), fffd);
  EXPECT_EQ(Utf8Text::encode(0x110000), fffd);
}

// Decoding replaces each byte that starts no character; repairing, each ill-formed sequence.
TEST(Utf8Text, IllFormedBytesBecomeReplacementCharacters) {
  const std::tuple<const char*, std::u32string, std::string> cases[] = {
      {"Caf\xE9", U"Caf\uFFFD", "Caf" + fffd},                            // Latin-1
      {"a\x80\xBF" "b", U"a\uFFFD\uFFFDb", "a" + fffd + fffd + "b"},         // stray continuation bytes
      {"\xC0\xAF", U"\uFFFD\uFFFD", fffd + fffd},                            // an overlong slash
      {"\xE0\x80\x80", U"\uFFFD\uFFFD\uFFFD", fffd + fffd + fffd},              // an overlong NUL
      {"\xED\xA0\x80", U"\uFFFD\uFFFD\uFFFD", fffd + fffd + fffd},              // a surrogate
      {"\xF4\x90\x80\x80", U"\uFFFD\uFFFD\uFFFD\uFFFD", fffd + fffd + fffd + fffd},  // above U+10FFFF
      {"\xF5\xFF", U"\uFFFD\uFFFD", fffd + fffd},
      // A character cut short: the next one is kept.
      {"\xE2\x82" "A", U"\uFFFD\uFFFDA", fffd + "A"},
      {"x\xF0\x9F\x8E", U"x\uFFFD\uFFFD\uFFFD", "x" + fffd},  // at the end
      {"\xC3\xC3\x84", U"\uFFFD\u00C4", fffd + "\xC3\x84"}};
  for (const auto& [bytes, decoded, repaired] : cases) {
    EXPECT_EQ(Utf8Text::decode(bytes), decoded) << bytes;
    EXPECT_EQ(Utf8Text::repaired(bytes), repaired) << bytes;
  }
}

}  // namespace
