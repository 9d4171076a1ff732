#include "VigiloApp/commands/LocalTime.h"

#include <cmath>
#include <cstddef>
#include <ctime>
#include <optional>

namespace vigilo {
namespace {

std::optional<tm> localParts(Date date) {
  if (!(std::abs(date.unixSeconds()) < 1e11)) return std::nullopt;
  const auto seconds = static_cast<std::time_t>(std::floor(date.unixSeconds()));
  tm local{};
  return ::localtime_r(&seconds, &local) != nullptr ? std::optional(local) : std::nullopt;
}

std::string formatted(const std::optional<tm>& parts, const char* format) {
  if (!parts) return "?";
  char text[32];
  return {text, std::strftime(text, sizeof text, format, &*parts)};
}

// In English whatever the terminal's language is, like the words around it.
constexpr const char* weekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

}  // namespace

std::string localTime(Date date) {
  return formatted(localParts(date), "%H:%M:%S");
}

std::string localDateTime(Date date) {
  return formatted(localParts(date), "%Y-%m-%d %H:%M:%S");
}

std::string localMoment(Date date, Date now) {
  const auto then = localParts(date);
  const auto today = localParts(now);
  if (!then || (today && then->tm_year == today->tm_year && then->tm_yday == today->tm_yday))
    return localTime(date);
  return std::string(weekdays[static_cast<std::size_t>(then->tm_wday)]) + " " + localDateTime(date);
}

}  // namespace vigilo
