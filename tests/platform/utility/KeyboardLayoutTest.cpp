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
  const auto invalid = KeyboardLayout::keyEventsForText("\xE2\x82", false);  // a character cut short
  ASSERT_EQ(invalid.size(), 4u) << "a replacement character per byte";
  EXPECT_EQ(invalid[2].characters, "\xEF\xBF\xBD");
}

}  // namespace
