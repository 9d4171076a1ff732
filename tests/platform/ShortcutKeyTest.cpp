#include "platform/linux/ShortcutKey.h"

#include <gtest/gtest.h>

#include <set>

namespace vigilo {
namespace {

constexpr std::uint32_t altL = 0xffe9, metaL = 0xffe7, superL = 0xffeb;

// Keys 46 (in the place of L), 64 and 133, two symbols each, and which of the last two is in which modifier.
KeyboardMap keyboard(std::vector<std::uint32_t> symbols, int rowOfKey64, int rowOfKey133) {
  KeyboardMap map{.firstKeycode = 8, .symbolsPerKey = 2, .symbols = {}, .keysPerModifier = 1};
  map.symbols.resize((255 - 8 + 1) * 2);
  const std::uint8_t keys[] = {46, 64, 133};
  for (std::size_t i = 0; i < symbols.size(); ++i)
    map.symbols[static_cast<std::size_t>(keys[i / 2] - 8) * 2 + i % 2] = symbols[i];
  map.modifierKeys.resize(8);
  if (rowOfKey64 >= 0) map.modifierKeys[static_cast<std::size_t>(rowOfKey64)] = 64;
  if (rowOfKey133 >= 0) map.modifierKeys[static_cast<std::size_t>(rowOfKey133)] = 133;
  return map;
}

TEST(ShortcutKey, IsFoundByTheKeyboardsOwnMap) {
  KeyboardMap dvorak = keyboard({'n', 'N', altL, metaL, superL, 0}, 3, 6);
  dvorak.symbols[(33 - 8) * 2] = 'l';
  KeyboardMap shared = keyboard({'l', 'L', altL, metaL, superL, 0}, 3, 6);
  shared.modifierKeys.assign(16, 0);
  shared.keysPerModifier = 2;
  shared.modifierKeys[6] = 64;
  shared.modifierKeys[7] = 133;
  const struct {
    const char* name;
    KeyboardMap map;
    std::optional<ShortcutKey> key;
  } rows[] = {
      {"usual", keyboard({'l', 'L', altL, metaL, superL, 0}, 3, 6), ShortcutKey{46, 0x48}},
      {"l elsewhere", dvorak, ShortcutKey{33, 0x48}},
      {"Cyrillic, where no key types l", keyboard({0x6c4, 0x6e4, altL, metaL, superL, 0}, 3, 6),
       ShortcutKey{46, 0x48}},
      {"Alt and Super in each other's place", keyboard({'l', 'L', superL, 0, metaL, altL}, 3, 6),
       ShortcutKey{46, 0x48}},
      {"Super as Mod5", keyboard({'l', 'L', altL, metaL, superL, 0}, 3, 7), ShortcutKey{46, 0x88}},
      {"keys without a modifier", keyboard({'l', 'L', altL, metaL, superL, 0}, -1, -1),
       ShortcutKey{46, 0x48}},
      {"Super on Alt's modifier", shared, std::nullopt},
      {"nothing known", KeyboardMap{}, ShortcutKey{46, 0x48}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(shortcutKey(row.map), row.key) << row.name;
  }
}

// A key code that lies outside the map, or a row that is too short, comes from the server.
TEST(ShortcutKey, AMapThatContradictsItselfIsReadAsFarAsItGoes) {
  KeyboardMap map = keyboard({'l', 'L', altL, metaL, superL, 0}, 3, 6);
  map.symbols.resize(5);
  map.modifierKeys = {0, 0, 0, 3, 255};
  map.keysPerModifier = 200;
  EXPECT_EQ(shortcutKey(map), (ShortcutKey{46, 0x48}));
}

TEST(ShortcutKey, IsGrabbedWithEveryOtherModifierAndNeverWithoutItsOwn) {
  const auto sets = withAnyOtherModifiers(0x48);
  EXPECT_EQ(sets.front(), 0x48);
  EXPECT_EQ(std::set(sets.begin(), sets.end()).size(), 64u);
  for (const auto set : sets) EXPECT_EQ(set & 0x48, 0x48);
}

}  // namespace
}  // namespace vigilo
