#include "VigiloApp/top/TopParts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>

#include "VigiloApp/top/DisplayText.h"

namespace vigilo {
namespace {

std::string repeated(std::string_view sign, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += sign;
  return text;
}

}  // namespace

Line barLine(double percent, int length, Style style, const Glyphs& glyphs) {
  auto full = static_cast<int>(std::lround(std::clamp(percent, 0.0, 100.0) / 100 * length));
  // Neither empty nor full unless it is.
  if (percent > 0 && full == 0) full = 1;
  if (percent < 100 && full == length) full = length - 1;
  Line line(repeated(glyphs.barFull, full), style);
  return line.add(repeated(glyphs.barEmpty, length - full), Style::faint);
}

Line ruleLine(const std::string& title, const Line& remark, int width, const Glyphs& glyphs) {
  Line line(repeated(glyphs.rule, 2), Style::faint);
  line.add(" ").add(title, Style::accent).add(" ");
  const int remarkWidth = remark.width() == 0 ? 0 : remark.width() + 4;
  const bool fits = line.width() + remarkWidth + 1 <= width;
  line.add(repeated(glyphs.rule, width - line.width() - (fits ? remarkWidth : 0)), Style::faint);
  if (fits && remarkWidth > 0) line.add(" ").add(remark).add(" ").add(repeated(glyphs.rule, 2), Style::faint);
  return line.cut(width, "");
}

std::string shortCount(std::int64_t count) {
  constexpr const char* units[] = {"", " k", " M", " G", " T", " P", " E"};
  auto value = static_cast<double>(count);
  std::size_t unit = 0;
  // What would print as 1000 of a unit is 1 of the next.
  while (std::abs(value) >= (unit == 0 ? 1000 : 999.5) && unit + 1 < std::size(units)) {
    value /= 1000;
    ++unit;
  }
  char text[32];
  const int decimals = unit == 0 || std::abs(value) >= 99.95 ? 0 : std::abs(value) >= 9.995 ? 1 : 2;
  std::snprintf(text, sizeof text, "%.*f%s", decimals, value, units[unit]);
  return text;
}

std::string shortDuration(double seconds) {
  const auto whole = static_cast<long long>(std::clamp(std::floor(seconds), 0.0, 1e12));
  if (whole < 60) return std::to_string(whole) + " s";
  if (whole < 3600) return std::to_string(whole / 60) + " min";
  if (whole < 86400) return std::to_string(whole / 3600) + " h";
  return std::to_string(whole / 86400) + " d";
}

std::string shortPath(const std::string& path, const std::string& home, int width, const Glyphs& glyphs) {
  std::string text = shown(path);
  const bool isBelowHome =
      home.size() > 1 && text.starts_with(home) && (text.size() == home.size() || text[home.size()] == '/');
  if (isBelowHome) text.replace(0, home.size(), "~");
  const int room = width - displayWidth(glyphs.ellipsis);
  if (displayWidth(text) <= width || room <= 0) return fitted(text, width, "");
  // The end tells most.
  std::string_view end = text;
  while (displayWidth(end) > room) {
    const std::size_t narrow = beginning(end, 1).size();
    end.remove_prefix(narrow > 0 ? narrow : beginning(end, 2).size());
  }
  return std::string(glyphs.ellipsis) + std::string(end);
}

}  // namespace vigilo
