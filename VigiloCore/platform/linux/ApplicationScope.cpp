#include "platform/linux/ApplicationScope.h"

#include <charconv>
#include <vector>

namespace vigilo {
namespace {

bool dropSuffix(std::string_view& text, std::string_view suffix) {
  if (!text.ends_with(suffix)) return false;
  text.remove_suffix(suffix.size());
  return true;
}

// Unit names write characters that mean something to them as "\x" and two digits.
std::optional<std::string> unescape(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    if (!text.starts_with("\\x")) {
      result.push_back(text.front());
      text.remove_prefix(1);
      continue;
    }
    unsigned value = 0;
    const auto digits = text.substr(2, 2);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (error != std::errc() || end != digits.data() + 2) return std::nullopt;
    result.push_back(static_cast<char>(value));
    text.remove_prefix(4);
  }
  if (result.empty()) return std::nullopt;
  return result;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  for (;;) {
    const auto end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::optional<std::string> snapName(std::string_view unit) {
  const auto parts = split(unit, '.');
  return parts.size() >= 3 ? unescape(parts[1]) : std::nullopt;
}

}  // namespace

std::optional<std::string> applicationOfScope(std::string_view unit) {
  const bool isScope = dropSuffix(unit, ".scope");
  const bool isService = !isScope && dropSuffix(unit, ".service");
  if (isScope && unit.starts_with("snap.")) return snapName(unit);
  if ((!isScope && !isService) || !unit.starts_with("app-")) return std::nullopt;
  if (isService) unit = unit.substr(0, unit.find('@'));
  auto parts = split(unit, '-');
  if (isScope) parts.pop_back();  // what makes the name unique
  // "app", perhaps the launcher, the id
  return parts.size() == 2 || parts.size() == 3 ? unescape(parts.back()) : std::nullopt;
}

std::string_view unitOfProcess(std::string_view cgroupText) {
  for (const auto line : split(cgroupText, '\n')) {
    if (line.starts_with("0::") || line.find(":name=systemd:") != std::string_view::npos) {
      const auto unit = line.substr(line.rfind('/') + 1);
      if (!unit.empty()) return unit;
    }
  }
  return {};
}

}  // namespace vigilo
