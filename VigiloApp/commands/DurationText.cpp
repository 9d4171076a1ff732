#include "VigiloApp/commands/DurationText.h"

#include <algorithm>
#include <cmath>

namespace vigilo {
namespace {

struct Unit {
  char letter;
  const char* name;
  long long seconds;
};
constexpr Unit units[] = {{'d', "d", 86400}, {'h', "h", 3600}, {'m', "min", 60}, {'s', "s", 1}};

}  // namespace

std::optional<double> parseDuration(std::string_view text) {
  long long total = 0;
  const Unit* next = std::begin(units);
  while (!text.empty()) {
    const auto digits = std::min(text.find_first_not_of("0123456789"), text.size());
    // Seven digits are more than any allowed duration needs.
    if (digits == 0 || digits > 7 || digits == text.size()) return std::nullopt;
    const auto unit =
        std::find_if(next, std::end(units), [&](const Unit& u) { return u.letter == text[digits]; });
    if (unit == std::end(units)) return std::nullopt;
    total += std::stoll(std::string(text.substr(0, digits))) * unit->seconds;
    next = unit + 1;
    text.remove_prefix(digits + 1);
  }
  const auto seconds = static_cast<double>(total);
  return seconds >= 1 && seconds <= longestPauseSeconds ? std::optional(seconds) : std::nullopt;
}

std::string durationText(double seconds) {
  auto rest = static_cast<long long>(std::clamp(std::floor(seconds), 0.0, 1e12));
  std::string text;
  int parts = 0;
  for (const auto& unit : units) {
    const long long count = rest / unit.seconds;
    rest %= unit.seconds;
    if (parts > 0 || count > 0 || unit.seconds == 1) {
      if (parts > 0 && count > 0) text += ' ';
      if (count > 0 || parts == 0) text += std::to_string(count) + " " + unit.name;
      ++parts;
    }
    if (parts == 2) break;
  }
  return text;
}

}  // namespace vigilo
