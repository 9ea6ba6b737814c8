#include <gtest/gtest.h>

#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"

namespace {

using zar::platform::EventFlagMaskShift;
using zar::platform::EventFlagNone;
using zar::platform::KeyboardLayout;

TEST(KeyboardLayout, DigitsUseTheMainKeyboardCodes) {
  const std::pair<char32_t, std::uint16_t> digits[] = {{U'0', 29}, {U'1', 18}, {U'2', 19}, {U'3', 20}, {U'4', 21},
                                                       {U'5', 23}, {U'6', 22}, {U'7', 26}, {U'8', 28}, {U'9', 25}};
  for (const auto& [character, code] : digits) {
    const auto stroke = KeyboardLayout::keyCodeForCharacter(character);
    ASSERT_TRUE(stroke.has_value());
    EXPECT_EQ(stroke->keyCode, code);
    EXPECT_FALSE(stroke->shift);
  }
}

TEST(KeyboardLayout, EveryPrintableAsciiCharacterRoundTripsThroughItsKey) {
  for (char32_t c = 0x20; c < 0x7F; ++c) {
    const auto stroke = KeyboardLayout::keyCodeForCharacter(c);
    ASSERT_TRUE(stroke.has_value()) << "no key for " << static_cast<int>(c);
    EXPECT_EQ(KeyboardLayout::characterForKeyCode(stroke->keyCode, stroke->shift), c) << static_cast<int>(c);
  }
}

TEST(KeyboardLayout, ShiftedCharactersShareTheirKeyWithTheUnshiftedOnes) {
  EXPECT_EQ(KeyboardLayout::keyCodeForCharacter(U'A'), (KeyboardLayout::KeyStroke{0, true}));
  EXPECT_EQ(KeyboardLayout::keyCodeForCharacter(U'"'), (KeyboardLayout::KeyStroke{39, true}));
  EXPECT_EQ(KeyboardLayout::keyCodeForCharacter(U'_'), (KeyboardLayout::KeyStroke{27, true}));
  EXPECT_EQ(KeyboardLayout::keyCodeForCharacter(U'\\'), (KeyboardLayout::KeyStroke{42, false}));
  EXPECT_EQ(KeyboardLayout::characterForKeyCode(39, false), U'\'');
  EXPECT_EQ(KeyboardLayout::characterForKeyCode(39, true), U'"');
}

TEST(KeyboardLayout, WhitespaceKeysIgnoreShiftAndUnknownKeysTypeNothing) {
  EXPECT_EQ(KeyboardLayout::characterForKeyCode(36, true), U'\n');
  EXPECT_EQ(KeyboardLayout::characterForKeyCode(48, true), U'\t');
  EXPECT_EQ(KeyboardLayout::characterForKeyCode(49, false), U' ');
  EXPECT_EQ(KeyboardLayout::keyCodeForCharacter(U'\r'), (KeyboardLayout::KeyStroke{36, false}));
  EXPECT_FALSE(KeyboardLayout::characterForKeyCode(10, false).has_value());
  EXPECT_FALSE(KeyboardLayout::characterForKeyCode(53, false).has_value());
  EXPECT_FALSE(KeyboardLayout::keyCodeForCharacter(U'\0').has_value());
  EXPECT_FALSE(KeyboardLayout::keyCodeForCharacter(U'é').has_value());
}

TEST(KeyboardLayout, TextBecomesADownAndUpEventPerCharacterThenReturn) {
  const auto events = KeyboardLayout::keyEventsForText("a:1", true);
  ASSERT_EQ(events.size(), 8u);
  const std::uint16_t codes[] = {0, 0, 41, 41, 18, 18, 36, 36};
  for (std::size_t i = 0; i < events.size(); ++i) {
    EXPECT_EQ(events[i].keyCode, codes[i]) << i;
    EXPECT_EQ(events[i].keyDown, i % 2 == 0) << i;
  }
  EXPECT_EQ(events[0].characters, "a");
  EXPECT_EQ(events[0].flags, EventFlagNone);
  EXPECT_EQ(events[2].characters, ":");
  EXPECT_EQ(events[2].flags, EventFlagMaskShift);
  EXPECT_EQ(events[3].flags, EventFlagMaskShift);
  EXPECT_EQ(events[6].flags, EventFlagNone);
  EXPECT_EQ(KeyboardLayout::keyEventsForText("a:1", false).size(), 6u);
  EXPECT_EQ(KeyboardLayout::keyEventsForText("", true).size(), 2u);
  EXPECT_TRUE(KeyboardLayout::keyEventsForText("", false).empty());
}

TEST(KeyboardLayout, CharactersWithoutAKeyTravelAsTextOnKeyCodeZero) {
  const auto events = KeyboardLayout::keyEventsForText("é€😀", false);
  ASSERT_EQ(events.size(), 6u);
  EXPECT_EQ(events[0].keyCode, KeyboardLayout::unmappedKeyCode);
  EXPECT_EQ(events[0].characters, "é");
  EXPECT_EQ(events[2].characters, "€");
  EXPECT_EQ(events[4].characters, "😀");
}

TEST(KeyboardLayout, InvalidUtf8BecomesReplacementCharacters) {
  // A lone continuation byte, an overlong slash, an encoded surrogate and a truncated sequence.
  EXPECT_EQ(KeyboardLayout::decodeUTF8("a\x80" "b"), U"a\uFFFDb");
  EXPECT_EQ(KeyboardLayout::decodeUTF8("\xC0\xAF"), U"\uFFFD\uFFFD");
  EXPECT_EQ(KeyboardLayout::decodeUTF8("\xED\xA0\x80"), U"\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(KeyboardLayout::decodeUTF8("x\xE2\x82"), U"x\uFFFD\uFFFD");
  EXPECT_EQ(KeyboardLayout::decodeUTF8("\xF4\x90\x80\x80"), U"\uFFFD\uFFFD\uFFFD\uFFFD");
  const auto events = KeyboardLayout::keyEventsForText("\xFF", false);
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].characters, "\xEF\xBF\xBD");
}

TEST(KeyboardLayout, Utf8EncodingRoundTripsEveryLength) {
  for (const char32_t c : {U'A', U'\u00E9', U'\u20AC', U'\U0001F600', U'\U0010FFFF'}) {
    EXPECT_EQ(KeyboardLayout::decodeUTF8(KeyboardLayout::encodeUTF8(c)), std::u32string(1, c));
  }
  EXPECT_EQ(KeyboardLayout::encodeUTF8(0xD800), "\xEF\xBF\xBD");
  EXPECT_EQ(KeyboardLayout::encodeUTF8(0x110000), "\xEF\xBF\xBD");
}

}  // namespace
