#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"

#include <gtest/gtest.h>

namespace {

using zar::platform::EventFlagMaskShift;
using zar::platform::EventFlagNone;
using zar::platform::KeyboardLayout;
using Stroke = KeyboardLayout::KeyStroke;

TEST(KeyboardLayout, CharactersMapToTheMainKeyboardsKeysAndBack) {
  const std::pair<char32_t, Stroke> keys[] = {
      {U'0', {29, false}}, {U'1', {18, false}}, {U'2', {19, false}}, {U'3', {20, false}}, {U'4', {21, false}},
      {U'5', {23, false}}, {U'6', {22, false}}, {U'7', {26, false}}, {U'8', {28, false}}, {U'9', {25, false}},
      {U'A', {0, true}},   {U'"', {39, true}},  {U'_', {27, true}},  {U'\\', {42, false}}, {U'\r', {36, false}}};
  for (const auto& [character, stroke] : keys) EXPECT_EQ(KeyboardLayout::keyCodeForCharacter(character), stroke);
  for (char32_t c = 0x20; c < 0x7F; ++c) {
    const auto stroke = KeyboardLayout::keyCodeForCharacter(c);
    ASSERT_TRUE(stroke.has_value()) << "no key for " << static_cast<int>(c);
    EXPECT_EQ(KeyboardLayout::characterForKeyCode(stroke->keyCode, stroke->shift), c) << static_cast<int>(c);
  }
  EXPECT_EQ(KeyboardLayout::characterForKeyCode(39, false), U'\'');
  // Whitespace keys ignore shift; unknown keys type nothing.
  EXPECT_EQ(KeyboardLayout::characterForKeyCode(36, true), U'\n');
  EXPECT_EQ(KeyboardLayout::characterForKeyCode(48, true), U'\t');
  for (const std::uint16_t code : {10, 53}) EXPECT_FALSE(KeyboardLayout::characterForKeyCode(code, false));
  for (const char32_t c : {U'\0', U'é'}) EXPECT_FALSE(KeyboardLayout::keyCodeForCharacter(c));
}

TEST(KeyboardLayout, TextBecomesADownAndUpEventPerCharacterThenReturn) {
  const auto events = KeyboardLayout::keyEventsForText("a:1é", true);
  ASSERT_EQ(events.size(), 10u);
  const std::uint16_t codes[] = {0, 0, 41, 41, 18, 18, KeyboardLayout::unmappedKeyCode, KeyboardLayout::unmappedKeyCode,
                                 36, 36};
  for (std::size_t i = 0; i < events.size(); ++i) {
    EXPECT_EQ(events[i].keyCode, codes[i]) << i;
    EXPECT_EQ(events[i].keyDown, i % 2 == 0) << i;
    EXPECT_EQ(events[i].flags, i == 2 || i == 3 ? EventFlagMaskShift : EventFlagNone) << i;
  }
  EXPECT_EQ(events[2].characters, ":");
  EXPECT_EQ(events[6].characters, "é") << "a character without a key travels as text";
  EXPECT_EQ(KeyboardLayout::keyEventsForText("a:1", false).size(), 6u);
  EXPECT_EQ(KeyboardLayout::keyEventsForText("", true).size(), 2u);
  EXPECT_TRUE(KeyboardLayout::keyEventsForText("", false).empty());
}

TEST(KeyboardLayout, Utf8RoundTripsAndInvalidSequencesBecomeReplacementCharacters) {
  for (const char32_t c : {U'A', U'\u00E9', U'\u20AC', U'\U0001F600', U'\U0010FFFF'}) {
    EXPECT_EQ(KeyboardLayout::decodeUTF8(KeyboardLayout::encodeUTF8(c)), std::u32string(1, c));
  }
  EXPECT_EQ(KeyboardLayout::encodeUTF8(0xD800), "\xEF\xBF\xBD");
  EXPECT_EQ(KeyboardLayout::encodeUTF8(0x110000), "\xEF\xBF\xBD");
  // A lone continuation byte, an overlong slash, an encoded surrogate, a truncated sequence, a
  // code point past U+10FFFF.
  const std::pair<const char*, std::u32string> invalid[] = {
      {"a\x80" "b", U"a\uFFFDb"}, {"\xC0\xAF", U"\uFFFD\uFFFD"}, {"\xED\xA0\x80", U"\uFFFD\uFFFD\uFFFD"},
      {"x\xE2\x82", U"x\uFFFD\uFFFD"}, {"\xF4\x90\x80\x80", U"\uFFFD\uFFFD\uFFFD\uFFFD"}};
  for (const auto& [bytes, decoded] : invalid) EXPECT_EQ(KeyboardLayout::decodeUTF8(bytes), decoded);
  EXPECT_EQ(KeyboardLayout::keyEventsForText("\xFF", false).at(0).characters, "\xEF\xBF\xBD");
}

}  // namespace
