#include "platform/linux/ShortcutKey.h"

#include <initializer_list>

namespace vigilo {
namespace {

constexpr std::uint32_t smallL = 0x6c, leftAlt = 0xffe9, rightAlt = 0xffea, leftSuper = 0xffeb,
                        rightSuper = 0xffec;
constexpr std::uint8_t usualKeycode = 46;        // of the L position, with the kernel's keycodes
constexpr int firstFree = 3, modifierCount = 8;  // Mod1 is the first one without a fixed meaning
constexpr std::uint16_t mod1 = 1 << 3, mod4 = 1 << 6;
constexpr unsigned allModifiers = 0xff;

std::uint8_t keycodeOfL(const KeyboardMap& map) {
  if (map.symbolsPerKey <= 0) return usualKeycode;
  const std::size_t width = static_cast<std::size_t>(map.symbolsPerKey);
  for (std::size_t at = 0; at < map.symbols.size(); at += width) {
    if (map.symbols[at] == smallL) return static_cast<std::uint8_t>(map.firstKeycode + at / width);
  }
  return usualKeycode;
}

// The modifier that a key with one of the symbols sets, or the usual one where none does.
std::uint16_t modifierOf(const KeyboardMap& map, std::initializer_list<std::uint32_t> wanted,
                         std::uint16_t usual) {
  for (int row = firstFree; row < modifierCount; ++row) {
    for (int column = 0; column < map.keysPerModifier; ++column) {
      const auto at = static_cast<std::size_t>(row * map.keysPerModifier + column);
      if (at >= map.modifierKeys.size() || map.modifierKeys[at] == 0) continue;
      for (const std::uint32_t symbol : map.symbolsOf(map.modifierKeys[at])) {
        for (const std::uint32_t one : wanted) {
          if (symbol == one) return static_cast<std::uint16_t>(1 << row);
        }
      }
    }
  }
  return usual;
}

}  // namespace

std::span<const std::uint32_t> KeyboardMap::symbolsOf(std::uint8_t keycode) const {
  if (keycode < firstKeycode || symbolsPerKey <= 0) return {};
  const auto width = static_cast<std::size_t>(symbolsPerKey);
  const std::size_t at = static_cast<std::size_t>(keycode - firstKeycode) * width;
  if (at + width > symbols.size()) return {};
  return std::span(symbols).subspan(at, width);
}

std::optional<ShortcutKey> shortcutKey(const KeyboardMap& map) {
  const std::uint16_t alt = modifierOf(map, {leftAlt, rightAlt}, mod1);
  const std::uint16_t super = modifierOf(map, {leftSuper, rightSuper}, mod4);
  if (alt == super) return std::nullopt;
  return ShortcutKey{keycodeOfL(map), static_cast<std::uint16_t>(alt | super)};
}

std::vector<std::uint16_t> withAnyOtherModifiers(std::uint16_t modifiers) {
  std::vector<std::uint16_t> sets;
  for (unsigned set = 0; set <= allModifiers; ++set) {
    if ((set & modifiers) == modifiers) sets.push_back(static_cast<std::uint16_t>(set));
  }
  return sets;  // the plain one first
}

}  // namespace vigilo
