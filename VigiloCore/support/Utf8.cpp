#include "support/Utf8.h"

#include <algorithm>

namespace vigilo {
namespace {

// The bytes that follow a lead byte, and the limits of the first of them.
struct Lead {
  unsigned char first, last;
  std::size_t following;
  unsigned char least, most;
};
constexpr Lead leads[] = {
    {0x00, 0x7F, 0, 0, 0},       {0xC2, 0xDF, 1, 0x80, 0xBF}, {0xE0, 0xE0, 2, 0xA0, 0xBF},
    {0xE1, 0xEC, 2, 0x80, 0xBF}, {0xED, 0xED, 2, 0x80, 0x9F}, {0xEE, 0xEF, 2, 0x80, 0xBF},
    {0xF0, 0xF0, 3, 0x90, 0xBF}, {0xF1, 0xF3, 3, 0x80, 0xBF}, {0xF4, 0xF4, 3, 0x80, 0x8F}};

bool isBetween(char byte, unsigned char least, unsigned char most) {
  const auto value = static_cast<unsigned char>(byte);
  return value >= least && value <= most;
}

}  // namespace

bool isUtf8(std::string_view bytes) {
  while (!bytes.empty()) {
    const auto* lead = std::find_if(std::begin(leads), std::end(leads), [&](const Lead& candidate) {
      return isBetween(bytes.front(), candidate.first, candidate.last);
    });
    if (lead == std::end(leads) || bytes.size() <= lead->following) return false;
    const auto rest = bytes.substr(1, lead->following);
    if (!rest.empty() && !isBetween(rest.front(), lead->least, lead->most)) return false;
    if (!std::all_of(rest.begin(), rest.end(), [](char byte) { return isBetween(byte, 0x80, 0xBF); })) {
      return false;
    }
    bytes.remove_prefix(1 + lead->following);
  }
  return true;
}

std::string shortened(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) return std::string(text);
  constexpr std::string_view ellipsis = "\u2026";
  std::size_t end = limit - ellipsis.size();
  while (end > 0 && isBetween(text[end], 0x80, 0xBF)) --end;
  return std::string(text.substr(0, end)).append(ellipsis);
}

}  // namespace vigilo
