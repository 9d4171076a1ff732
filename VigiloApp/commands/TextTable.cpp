#include "VigiloApp/commands/TextTable.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numeric>

namespace vigilo {
namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t leastShrunk = 8;
constexpr const char* ellipsis = "…";

bool continues(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

std::size_t length(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return !continues(byte); }));
}

std::string cut(const std::string& text, std::size_t width) {
  if (length(text) <= width) return text;
  std::size_t end = 0;
  for (std::size_t count = 0; end < text.size(); ++end) {
    if (!continues(text[end]) && ++count == width) break;
  }
  return text.substr(0, end) + ellipsis;
}

}  // namespace

std::vector<std::size_t> TextTable::widths(std::size_t limit) const {
  std::vector<std::size_t> result;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    std::size_t widest = length(columns_[i].title);
    for (const auto& row : rows_) widest = std::max(widest, length(row[i]));
    result.push_back(widest);
  }
  const auto total = [&] {
    return std::accumulate(result.begin(), result.end(), gap * (columns_.size() - 1));
  };
  while (total() > limit) {
    std::size_t* widest = nullptr;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (!columns_[i].shrinks || result[i] <= leastShrunk) continue;
      if (widest == nullptr || result[i] > *widest) widest = &result[i];
    }
    if (widest == nullptr) break;
    --*widest;
  }
  return result;
}

std::string TextTable::line(const std::vector<std::string>& cells,
                            const std::vector<std::size_t>& widths) const {
  std::string text;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::string cell = cut(cells[i], widths[i]);
    const std::string blanks(widths[i] - std::min(widths[i], length(cell)), ' ');
    if (i > 0) text.append(gap, ' ');
    text += columns_[i].right ? blanks + cell : cell + blanks;
  }
  text.erase(text.find_last_not_of(' ') + 1);
  return text + "\n";
}

std::string TextTable::text(std::size_t width) const {
  const auto columnWidths = widths(width);
  std::vector<std::string> titles;
  for (const auto& column : columns_) titles.push_back(column.title);
  std::string result = line(titles, columnWidths);
  for (const auto& row : rows_) result += line(row, columnWidths);
  return result;
}

std::size_t terminalWidth() {
  winsize size{};
  if (::isatty(STDOUT_FILENO) == 1 && ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  return std::numeric_limits<std::size_t>::max();
}

std::string grouped(long long number) {
  std::string digits = std::to_string(number);
  const std::size_t first = number < 0 ? 1 : 0;
  for (std::size_t at = digits.size(); at > first + 3;) digits.insert(at -= 3, ",");
  return digits;
}

std::string dollars(double amount) {
  if (!(std::abs(amount) < 1e15)) return "$?";
  const bool tiny = std::abs(amount) < 0.1 && amount != 0;
  char text[64];
  std::snprintf(text, sizeof text, tiny ? "%.4f" : "%.2f", std::abs(amount));
  const std::string digits = text;
  const auto point = digits.find('.');
  return (amount < 0 ? "-$" : "$") + grouped(std::stoll(digits.substr(0, point))) + digits.substr(point);
}

// The two-byte controls of U+0080 to U+009F included.
std::string printable(std::string text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool twoByte =
        byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
    if (byte < 0x20 || byte == 0x7F || twoByte) text.replace(i, twoByte ? 2 : 1, "?");
  }
  return text;
}

}  // namespace vigilo
