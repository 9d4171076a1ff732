#include "VigiloApp/top/DisplayText.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "VigiloApp/commands/TextTable.h"
#include "support/Utf8.h"

namespace vigilo {
namespace {

struct Range {
  char32_t first, last;
};

// Two columns each; the blocks that Unicode lists as wide, and the signs that terminals draw as emoji.
constexpr Range wide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x23E9, 0x23EC},   {0x23F0, 0x23F0},   {0x23F3, 0x23F3},
    {0x25FD, 0x25FE},   {0x2614, 0x2615},   {0x2648, 0x2653},   {0x267F, 0x267F},   {0x2693, 0x2693},
    {0x26A1, 0x26A1},   {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x26C4, 0x26C5},   {0x26CE, 0x26CE},
    {0x26D4, 0x26D4},   {0x26EA, 0x26EA},   {0x26F2, 0x26F3},   {0x26F5, 0x26F5},   {0x26FA, 0x26FA},
    {0x26FD, 0x26FD},   {0x2705, 0x2705},   {0x270A, 0x270B},   {0x2728, 0x2728},   {0x274C, 0x274C},
    {0x274E, 0x274E},   {0x2753, 0x2755},   {0x2757, 0x2757},   {0x2795, 0x2797},   {0x27B0, 0x27B0},
    {0x27BF, 0x27BF},   {0x2B1B, 0x2B1C},   {0x2B50, 0x2B50},   {0x2B55, 0x2B55},   {0x2E80, 0x303E},
    {0x3041, 0xA4CF},   {0xA960, 0xA97C},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},
    {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},   {0x16FE0, 0x18CFF}, {0x1B000, 0x1B2FF}, {0x1F004, 0x1F004},
    {0x1F0CF, 0x1F0CF}, {0x1F18E, 0x1F18E}, {0x1F191, 0x1F19A}, {0x1F200, 0x1F320}, {0x1F32D, 0x1F335},
    {0x1F337, 0x1F37C}, {0x1F37E, 0x1F393}, {0x1F3A0, 0x1F3CA}, {0x1F3CF, 0x1F3D3}, {0x1F3E0, 0x1F3F0},
    {0x1F3F4, 0x1F3F4}, {0x1F3F8, 0x1F43E}, {0x1F440, 0x1F440}, {0x1F442, 0x1F4FC}, {0x1F4FF, 0x1F53D},
    {0x1F54B, 0x1F567}, {0x1F57A, 0x1F57A}, {0x1F595, 0x1F596}, {0x1F5A4, 0x1F5A4}, {0x1F5FB, 0x1F64F},
    {0x1F680, 0x1F6C5}, {0x1F6CC, 0x1F6CC}, {0x1F6D0, 0x1F6D2}, {0x1F6D5, 0x1F6DF}, {0x1F6EB, 0x1F6EC},
    {0x1F6F4, 0x1F6FC}, {0x1F7E0, 0x1F7F0}, {0x1F90C, 0x1F9FF}, {0x1FA70, 0x1FAFF}, {0x20000, 0x3FFFD}};

constexpr Range combining[] = {{0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x064B, 0x065F},
                               {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x20D0, 0x20F0}, {0xFE20, 0xFE2F}};

// Soft hyphen, joiners, direction marks, variation selectors, byte order mark, tags.
constexpr Range steering[] = {{0x00AD, 0x00AD}, {0x034F, 0x034F}, {0x061C, 0x061C},  {0x180E, 0x180E},
                              {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F},  {0xFE00, 0xFE0F},
                              {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE0FFF}};

template <std::size_t N>
bool isIn(const Range (&ranges)[N], char32_t character) {
  const Range* const at = std::ranges::lower_bound(ranges, character, {}, &Range::last);
  return at != std::end(ranges) && at->first <= character;
}

// The character that begins at `at`, which moves behind it. What is not well-formed is taken byte by byte.
char32_t next(std::string_view text, std::size_t& at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (length == 1 || at + length > text.size()) return ++at, lead;
  char32_t character = lead & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i)
    character = character << 6 | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
  at += length;
  return character;
}

int columns(char32_t character) {
  if (character < 0x300) return 1;
  return isIn(combining, character) || isIn(steering, character) ? 0 : isIn(wide, character) ? 2 : 1;
}

// The length of the well-formed character at the beginning, 0 where there is none.
std::size_t wellFormed(std::string_view text) {
  for (std::size_t length = 1; length <= std::min<std::size_t>(4, text.size()); ++length)
    if (isUtf8(text.substr(0, length))) return length;
  return 0;
}

}  // namespace

int displayWidth(std::string_view text) {
  int width = 0;
  for (std::size_t at = 0; at < text.size();) width += columns(next(text, at));
  return width;
}

std::string_view beginning(std::string_view text, int width) {
  std::size_t end = 0;
  for (std::size_t at = 0; at < text.size(); end = at) {
    width -= columns(next(text, at));
    if (width < 0) break;
  }
  return text.substr(0, end);
}

std::string fitted(std::string_view text, int width, std::string_view ellipsis) {
  if (displayWidth(text) <= width) return std::string(text);
  const int room = width - displayWidth(ellipsis);
  if (room < 0) return std::string(beginning(text, std::max(width, 0)));
  return std::string(beginning(text, room)) + std::string(ellipsis);
}

std::string shown(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = wellFormed(text);
    std::size_t at = 0;
    if (length == 0)
      result += '?';
    else if (!isIn(steering, next(text, at)))
      result += text.substr(0, length);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return printable(std::move(result));
}

std::string asciiOnly(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const char32_t character = next(text, at);
    if (character < 0x80)
      result += static_cast<char>(character);
    else if (character == U'·' || character == U'—' || character == U'–')
      result += '-';
    else
      result.append(static_cast<std::size_t>(columns(character)), '?');
  }
  return result;
}

}  // namespace vigilo
