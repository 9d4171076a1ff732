#include "usage/LocalDay.h"

#include <cmath>
#include <cstdint>
#include <ctime>
#include <numeric>

namespace vigilo {
namespace {

// Further than any local day is long, clock changes included.
constexpr std::time_t longerThanADay = 50 * 3600;

// A number that grows with the local calendar date.
std::int64_t localDate(std::time_t moment) {
  std::tm parts{};
  if (::localtime_r(&moment, &parts) == nullptr) return 0;
  return (static_cast<std::int64_t>(parts.tm_year) * 12 + parts.tm_mon) * 31 + parts.tm_mday;
}

// The first second after `before`, up to `after`, whose local date is `date` or later. mktime would not do:
// it may pick the second of two midnights, or a midnight that a clock change left out.
std::time_t firstSecondOf(std::int64_t date, std::time_t before, std::time_t after) {
  while (after - before > 1) {
    const std::time_t middle = std::midpoint(before, after);
    (localDate(middle) >= date ? after : before) = middle;
  }
  return after;
}

}  // namespace

LocalDay LocalDay::containing(Date moment) {
  ::tzset();  // the zone may have changed since the last question
  const auto now = static_cast<std::time_t>(std::floor(moment.unixSeconds()));
  const std::int64_t today = localDate(now);
  const auto date = [](std::time_t seconds) { return Date::fromUnix(static_cast<double>(seconds)); };
  return {date(firstSecondOf(today, now - longerThanADay, now)),
          date(firstSecondOf(today + 1, now, now + longerThanADay))};
}

Date startOfLocalHour(Date moment) {
  ::tzset();
  const auto seconds = static_cast<std::time_t>(std::floor(moment.unixSeconds()));
  std::tm parts{};
  if (::localtime_r(&seconds, &parts) == nullptr) return moment;
  return Date::fromUnix(static_cast<double>(seconds - parts.tm_min * 60 - parts.tm_sec));
}

}  // namespace vigilo
