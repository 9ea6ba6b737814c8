#include "ZAR_DAWControl/platform/utility/KeyboardLayout.h"

#include <array>

#include "ZAR_DAWControl/platform/utility/Utf8Text.h"

namespace zar::platform {

namespace {

struct KeyEntry {
  char32_t character;
  std::uint16_t keyCode;
  bool shift;
};

// The first entry for a key and Shift state is the character the key types; later entries only
// map further characters onto it ("\r" onto Return).
constexpr auto keyTable = std::to_array<KeyEntry>({
    {U'a', 0, false},   {U's', 1, false},  {U'd', 2, false},   {U'f', 3, false},  {U'h', 4, false},
    {U'g', 5, false},   {U'z', 6, false},  {U'x', 7, false},   {U'c', 8, false},  {U'v', 9, false},
    {U'b', 11, false},  {U'q', 12, false}, {U'w', 13, false},  {U'e', 14, false}, {U'r', 15, false},
    {U'y', 16, false},  {U't', 17, false}, {U'1', 18, false},  {U'2', 19, false}, {U'3', 20, false},
    {U'4', 21, false},  {U'6', 22, false}, {U'5', 23, false},  {U'=', 24, false}, {U'9', 25, false},
    {U'7', 26, false},  {U'-', 27, false}, {U'8', 28, false},  {U'0', 29, false}, {U']', 30, false},
    {U'o', 31, false},  {U'u', 32, false}, {U'[', 33, false},  {U'i', 34, false}, {U'p', 35, false},
    {U'l', 37, false},  {U'j', 38, false}, {U'\'', 39, false}, {U'k', 40, false}, {U';', 41, false},
    {U'\\', 42, false}, {U',', 43, false}, {U'/', 44, false},  {U'n', 45, false}, {U'm', 46, false},
    {U'.', 47, false},  {U'`', 50, false},
    {U'\n', KeyboardLayout::returnKeyCode, false}, {U'\t', KeyboardLayout::tabKeyCode, false},
    {U' ', KeyboardLayout::spaceKeyCode, false},   {U'\r', KeyboardLayout::returnKeyCode, false},
    {U'A', 0, true},    {U'S', 1, true},   {U'D', 2, true},    {U'F', 3, true},   {U'H', 4, true},
    {U'G', 5, true},    {U'Z', 6, true},   {U'X', 7, true},    {U'C', 8, true},   {U'V', 9, true},
    {U'B', 11, true},   {U'Q', 12, true},  {U'W', 13, true},   {U'E', 14, true},  {U'R', 15, true},
    {U'Y', 16, true},   {U'T', 17, true},  {U'!', 18, true},   {U'@', 19, true},  {U'#', 20, true},
    {U'$', 21, true},   {U'^', 22, true},  {U'%', 23, true},   {U'+', 24, true},  {U'(', 25, true},
    {U'&', 26, true},   {U'_', 27, true},  {U'*', 28, true},   {U')', 29, true},  {U'}', 30, true},
    {U'O', 31, true},   {U'U', 32, true},  {U'{', 33, true},   {U'I', 34, true},  {U'P', 35, true},
    {U'L', 37, true},   {U'J', 38, true},  {U'"', 39, true},   {U'K', 40, true},  {U':', 41, true},
    {U'|', 42, true},   {U'<', 43, true},  {U'?', 44, true},   {U'N', 45, true},  {U'M', 46, true},
    {U'>', 47, true},   {U'~', 50, true},
});

// Keys whose character doesn't change with Shift.
bool shiftInsensitive(std::uint16_t keyCode) {
  return keyCode == KeyboardLayout::returnKeyCode || keyCode == KeyboardLayout::tabKeyCode ||
         keyCode == KeyboardLayout::spaceKeyCode;
}

KeyboardEvent keyEvent(std::uint16_t keyCode, bool keyDown, bool shift, std::string characters) {
  KeyboardEvent event;
  event.keyCode = keyCode;
  event.keyDown = keyDown;
  event.flags = shift ? EventFlagMaskShift : EventFlagNone;
  event.characters = std::move(characters);
  return event;
}

}  // namespace

std::optional<KeyboardLayout::KeyStroke> KeyboardLayout::keyCodeForCharacter(char32_t character) {
  for (const auto& entry : keyTable) {
    if (entry.character == character) {
      return KeyStroke{entry.keyCode, entry.shift};
    }
  }
  return std::nullopt;
}

std::optional<char32_t> KeyboardLayout::characterForKeyCode(std::uint16_t keyCode, bool shift) {
  const bool wantShift = shift && !shiftInsensitive(keyCode);
  for (const auto& entry : keyTable) {
    if (entry.keyCode == keyCode && entry.shift == wantShift) {
      return entry.character;
    }
  }
  return std::nullopt;
}

std::vector<KeyboardEvent> KeyboardLayout::keyEventsForText(std::string_view utf8, bool includingReturn) {
  const std::u32string text = Utf8Text::decode(utf8);
  std::vector<KeyboardEvent> events;
  events.reserve(2 * text.size() + 2);
  for (const char32_t character : text) {
    const auto stroke = keyCodeForCharacter(character);
    const std::uint16_t keyCode = stroke ? stroke->keyCode : unmappedKeyCode;
    const bool shift = stroke && stroke->shift;
    const std::string characters = Utf8Text::encode(character);
    events.push_back(keyEvent(keyCode, true, shift, characters));
    events.push_back(keyEvent(keyCode, false, shift, characters));
  }
  if (includingReturn) {
    events.push_back(keyEvent(returnKeyCode, true, false, "\n"));
    events.push_back(keyEvent(returnKeyCode, false, false, "\n"));
  }
  return events;
}

}  // namespace zar::platform
