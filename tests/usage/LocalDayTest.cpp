#include "usage/LocalDay.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace vigilo {
namespace {

// The process's time zone, for a while.
class TimeZone {
 public:
  explicit TimeZone(const char* name) {
    if (const char* before = std::getenv("TZ")) before_ = before;
    ::setenv("TZ", name, 1);
  }
  ~TimeZone() { before_.empty() ? ::unsetenv("TZ") : ::setenv("TZ", before_.c_str(), 1); }

 private:
  std::string before_;
};

TEST(LocalDay, BeginsAndEndsWhereTheLocalDateChanges) {
  struct Case {
    const char* zone;
    const char* moment;
    const char* start;
    const char* end;
  };
  for (const Case& each : {
           Case{"UTC0", "2026-11-21T12:00:00Z", "2026-11-21T00:00:00Z", "2026-11-22T00:00:00Z"},
           Case{"UTC0", "2026-11-21T00:00:00Z", "2026-11-21T00:00:00Z", "2026-11-22T00:00:00Z"},
           Case{"UTC0", "2026-11-20T23:59:59Z", "2026-11-20T00:00:00Z", "2026-11-21T00:00:00Z"},
           // 23 and 25 hours: clocks change in the small hours.
           Case{"CET-1CEST,M3.5.0,M10.5.0/3", "2026-03-29T12:00:00Z", "2026-03-28T23:00:00Z",
                "2026-03-29T22:00:00Z"},
           Case{"CET-1CEST,M3.5.0,M10.5.0/3", "2026-10-25T12:00:00Z", "2026-10-24T22:00:00Z",
                "2026-10-25T23:00:00Z"},
           // Midnight left out: the day begins at one o'clock.
           Case{"BRT3BRST,M11.1.0/0,M2.3.0/0", "2017-11-05T12:00:00Z", "2017-11-05T03:00:00Z",
                "2017-11-06T02:00:00Z"},
           // Midnight twice: the day begins with the first one.
           Case{"CST5CDT,M3.2.0/0,M11.1.0/1", "2026-11-01T12:00:00Z", "2026-11-01T04:00:00Z",
                "2026-11-02T05:00:00Z"},
       }) {
    const TimeZone zone(each.zone);
    const LocalDay day = LocalDay::containing(*Date::fromIso8601(each.moment));
    EXPECT_EQ(day.start.iso8601(), each.start) << each.zone << " " << each.moment;
    EXPECT_EQ(day.end.iso8601(), each.end) << each.zone << " " << each.moment;
    EXPECT_TRUE(day.contains(day.start));
    EXPECT_FALSE(day.contains(day.end));
  }
}

}  // namespace
}  // namespace vigilo
