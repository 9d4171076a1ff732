#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vigilo {

// An X server's keyboard, as its two maps tell it.
struct KeyboardMap {
  std::uint8_t firstKeycode = 8;
  int symbolsPerKey = 0;
  std::vector<std::uint32_t> symbols;  // row by row from `firstKeycode`
  int keysPerModifier = 0;
  std::vector<std::uint8_t> modifierKeys;  // eight rows: Shift, Lock, Control, Mod1 to Mod5; 0 is no key

  // None where the map has no such key.
  std::span<const std::uint32_t> symbolsOf(std::uint8_t keycode) const;
};

// Where the shortcut lies on a keyboard.
struct ShortcutKey {
  std::uint8_t keycode = 0;
  std::uint16_t modifiers = 0;  // the bits that Alt and Super have
  bool operator==(const ShortcutKey&) const = default;
};

// The key that types "l" without modifiers, or the one in its place where no key does, as on a Cyrillic
// keyboard; and the modifiers that the Alt and Super keys set. Absent where the two cannot be told apart.
std::optional<ShortcutKey> shortcutKey(const KeyboardMap& map);

// `modifiers` together with every subset of the other ones: a grab is for one exact set.
std::vector<std::uint16_t> withAnyOtherModifiers(std::uint16_t modifiers);

}  // namespace vigilo
