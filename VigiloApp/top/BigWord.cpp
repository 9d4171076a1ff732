#include "VigiloApp/top/BigWord.h"

#include <array>
#include <cstddef>

#include "VigiloApp/top/DisplayText.h"

namespace vigilo {
namespace {

constexpr int rows = 5;  // of dots; two to a line

using Letter = std::array<std::string_view, rows>;

constexpr std::array<Letter, 26> letters{{
    {"####", "#  #", "####", "#  #", "#  #"},       // A
    {"### ", "#  #", "### ", "#  #", "### "},       // B
    {"####", "#   ", "#   ", "#   ", "####"},       // C
    {"### ", "#  #", "#  #", "#  #", "### "},       // D
    {"####", "#   ", "### ", "#   ", "####"},       // E
    {"####", "#   ", "### ", "#   ", "#   "},       // F
    {"####", "#   ", "# ##", "#  #", "####"},       // G
    {"#  #", "#  #", "####", "#  #", "#  #"},       // H
    {"#", "#", "#", "#", "#"},                      // I
    {"   #", "   #", "   #", "#  #", "####"},       // J
    {"#  #", "# # ", "##  ", "# # ", "#  #"},       // K
    {"#   ", "#   ", "#   ", "#   ", "####"},       // L
    {"#   #", "## ##", "# # #", "#   #", "#   #"},  // M
    {"#  #", "## #", "# ##", "#  #", "#  #"},       // N
    {"####", "#  #", "#  #", "#  #", "####"},       // O
    {"####", "#  #", "####", "#   ", "#   "},       // P
    {"####", "#  #", "#  #", "# ##", "####"},       // Q
    {"####", "#  #", "####", "# # ", "#  #"},       // R
    {"####", "#   ", "####", "   #", "####"},       // S
    {"#####", "  #  ", "  #  ", "  #  ", "  #  "},  // T
    {"#  #", "#  #", "#  #", "#  #", "####"},       // U
    {"#   #", "#   #", "#   #", " # # ", "  #  "},  // V
    {"#   #", "#   #", "# # #", "## ##", "#   #"},  // W
    {"#   #", " # # ", "  #  ", " # # ", "#   #"},  // X
    {"#   #", " # # ", "  #  ", "  #  ", "  #  "},  // Y
    {"####", "  # ", " #  ", "#   ", "####"},       // Z
}};
constexpr Letter blank{"  ", "  ", "  ", "  ", "  "};

const Letter& letter(char character) {
  return character >= 'A' && character <= 'Z' ? letters[static_cast<std::size_t>(character - 'A')] : blank;
}

std::string_view half(bool upper, bool lower, const Glyphs& glyphs) {
  if (upper && lower) return glyphs.full;
  return upper ? glyphs.upperHalf : lower ? glyphs.lowerHalf : " ";
}

std::vector<std::string> spacedOut(std::string_view word) {
  std::string text;
  for (const char character : word) text.append(text.empty() ? "" : " ").append(1, character);
  const std::string empty(text.size(), ' ');
  return {empty, text, empty};
}

}  // namespace

std::vector<std::string> bigWord(std::string_view word, const Glyphs& glyphs) {
  if (glyphs.full.empty()) return spacedOut(word);
  std::vector<std::string> lines((rows + 1) / 2);
  for (std::size_t i = 0; i < word.size(); ++i) {
    const Letter& shape = letter(word[i]);
    for (std::size_t row = 0; row < lines.size(); ++row) {
      const std::string_view upper = shape[2 * row];
      const std::string_view lower = 2 * row + 1 < rows ? shape[2 * row + 1] : std::string_view();
      if (i > 0) lines[row] += ' ';
      for (std::size_t dot = 0; dot < upper.size(); ++dot)
        lines[row] += half(upper[dot] == '#', dot < lower.size() && lower[dot] == '#', glyphs);
    }
  }
  return lines;
}

}  // namespace vigilo
