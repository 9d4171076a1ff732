#include "support/Date.h"

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace vigilo {
namespace {

constexpr double secondsPerDay = 86400;

struct Civil {
  std::int64_t year;
  unsigned month, day, hour, minute, second;
};

// Days since 1970-01-01 of a date in the proleptic Gregorian calendar (years counted from March, in 400-year
// eras).
std::int64_t daysFromCivil(std::int64_t year, unsigned month, unsigned day) {
  year -= month <= 2;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const auto yearOfEra = static_cast<std::int64_t>(year - era * 400);
  const std::int64_t dayOfYear =
      (153 * (static_cast<std::int64_t>(month) + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

std::optional<Civil> civil(Date date) {
  const double unixSeconds = std::floor(date.unixSeconds());
  // Year 1 to year 9999, so that four digits are enough.
  if (!(unixSeconds >= -62135596800.0 && unixSeconds < 253402300800.0)) return std::nullopt;
  const double dayCount = std::floor(unixSeconds / secondsPerDay);
  const auto secondOfDay = static_cast<unsigned>(unixSeconds - dayCount * secondsPerDay);
  const std::int64_t days = static_cast<std::int64_t>(dayCount) + 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
  const auto day = static_cast<unsigned>(dayOfYear - (153 * shiftedMonth + 2) / 5 + 1);
  const auto month = static_cast<unsigned>(shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9);
  return Civil{yearOfEra + era * 400 + (month <= 2 ? 1 : 0),
               month,
               day,
               secondOfDay / 3600,
               secondOfDay / 60 % 60,
               secondOfDay % 60};
}

std::string print(Date date, const char* format) {
  char text[64];
  if (const auto parts = civil(date)) {
    std::snprintf(text, sizeof text, format, static_cast<int>(parts->year), parts->month, parts->day,
                  parts->hour, parts->minute, parts->second);
  } else {
    std::snprintf(text, sizeof text, "%g", date.secondsSinceReference);
  }
  return text;
}

unsigned daysInMonth(unsigned year, unsigned month) {
  const bool isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  if (month == 2) return isLeap ? 29 : 28;
  return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

// Reads exactly `count` digits at the front of `text` and drops them.
std::optional<unsigned> takeDigits(std::string_view& text, std::size_t count) {
  if (text.size() < count) return std::nullopt;
  unsigned value = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (text[i] < '0' || text[i] > '9') return std::nullopt;
    value = value * 10 + static_cast<unsigned>(text[i] - '0');
  }
  text.remove_prefix(count);
  return value;
}

bool take(std::string_view& text, char expected) {
  if (text.empty() || text.front() != expected) return false;
  text.remove_prefix(1);
  return true;
}

// Reads "Z", "+hh:mm" or "-hh:mm" to the end; seconds east of UTC.
std::optional<int> takeOffset(std::string_view text) {
  if (text == "Z") return 0;
  if (text.empty() || (text.front() != '+' && text.front() != '-')) return std::nullopt;
  const int sign = text.front() == '-' ? -1 : 1;
  text.remove_prefix(1);
  const auto hours = takeDigits(text, 2);
  if (!hours || !take(text, ':')) return std::nullopt;
  const auto minutes = takeDigits(text, 2);
  if (!minutes || !text.empty() || *hours > 23 || *minutes > 59) return std::nullopt;
  return sign * static_cast<int>(*hours * 3600 + *minutes * 60);
}

}  // namespace

Date Date::now() {
  using namespace std::chrono;
  return fromUnix(duration<double>(system_clock::now().time_since_epoch()).count());
}

std::string Date::description() const {
  return print(*this, "%04d-%02u-%02u %02u:%02u:%02u +0000");
}

std::string Date::iso8601() const {
  return print(*this, "%04d-%02u-%02uT%02u:%02u:%02uZ");
}

std::optional<Date> Date::fromIso8601(std::string_view text) {
  const auto year = takeDigits(text, 4);
  if (!year || !take(text, '-')) return std::nullopt;
  const auto month = takeDigits(text, 2);
  if (!month || !take(text, '-')) return std::nullopt;
  const auto day = takeDigits(text, 2);
  if (!day || !take(text, 'T')) return std::nullopt;
  const auto hour = takeDigits(text, 2);
  if (!hour || !take(text, ':')) return std::nullopt;
  const auto minute = takeDigits(text, 2);
  if (!minute || !take(text, ':')) return std::nullopt;
  const auto second = takeDigits(text, 2);
  if (!second) return std::nullopt;
  double fraction = 0;
  if (take(text, '.')) {
    double scale = 0.1;
    if (text.empty() || text.front() < '0' || text.front() > '9') return std::nullopt;
    for (; !text.empty() && text.front() >= '0' && text.front() <= '9'; text.remove_prefix(1), scale /= 10) {
      fraction += scale * (text.front() - '0');
    }
  }
  const auto offset = takeOffset(text);
  const bool inRange = *month >= 1 && *month <= 12 && *day >= 1 && *day <= daysInMonth(*year, *month) &&
                       *hour <= 23 && *minute <= 59 && *second <= 60;
  if (!offset || !inRange) return std::nullopt;
  const double days = static_cast<double>(daysFromCivil(static_cast<std::int64_t>(*year), *month, *day));
  const double wholeSeconds = days * secondsPerDay + *hour * 3600.0 + *minute * 60.0 + *second - *offset;
  return fromUnix(wholeSeconds + fraction);
}

}  // namespace vigilo
