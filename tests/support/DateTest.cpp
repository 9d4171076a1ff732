#include "support/Date.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cmath>
#include <ctime>
#include <limits>

namespace vigilo {
namespace {

TEST(Date, ReadsIso8601) {
  const std::pair<const char*, double> cases[] = {
      {"2001-01-01T00:00:00Z", Date::unixEpochOfReference},
      {"2026-11-21T07:57:11Z", 1795247831},
      {"2026-11-21T08:57:11+01:00", 1795247831},
      {"2026-11-20T22:12:11-09:45", 1795247831},
      {"2026-11-21T07:57:11.250Z", 1795247831.25},
      {"2024-02-29T23:59:59Z", 1709251199},
      {"2016-12-31T23:59:60Z", 1483228800},
  };
  for (const auto& [text, unixSeconds] : cases) {
    const auto date = Date::fromIso8601(text);
    ASSERT_TRUE(date) << text;
    EXPECT_DOUBLE_EQ(date->unixSeconds(), unixSeconds) << text;
  }
}

TEST(Date, RefusesWhatIsNoDate) {
  for (const char* text :
       {"", "2026", "2026-11-21T07:57:11", "2026-11-21 07:57:11Z", "2026-11-21T07:57:11z",
        "2026-11-21T07:57:11.Z", "2026-11-21T07:57:11Z ", "2026-13-21T07:57:11Z", "2026-11-31T07:57:11Z",
        "2025-02-29T00:00:00Z", "1900-02-29T00:00:00Z", "2026-11-21T24:00:00Z", "2026-11-21T07:57:61Z",
        "2026-11-21T07:57:11+24:00", "2026-11-21T07:57:11+0100", "-026-11-21T07:57:11Z"}) {
    EXPECT_FALSE(Date::fromIso8601(text)) << text;
  }
}

// Against the C library's calendar, over all years that four digits hold.
TEST(Date, PrintsAsTheCalendarSaysAndReadsItsOwnText) {
  EXPECT_TRUE(rc::check([](double fraction) {
    const auto seconds = *rc::gen::inRange<long long>(-62135596800LL, 253402300800LL);
    const Date date =
        Date::fromUnix(static_cast<double>(seconds) + std::abs(fraction - std::trunc(fraction)) / 2);
    const std::time_t whole = seconds;
    std::tm parts{};
    ::gmtime_r(&whole, &parts);
    char expected[64];
    std::snprintf(expected, sizeof expected, "%04d-%02d-%02dT%02d:%02d:%02dZ", parts.tm_year + 1900,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    RC_ASSERT(date.iso8601() == expected);
    RC_ASSERT(Date::fromIso8601(expected) == Date::fromUnix(static_cast<double>(seconds)));
  }));
  EXPECT_EQ(Date::fromUnix(1795247831.9).description(), "2026-11-21 07:57:11 +0000");
}

TEST(Date, AMomentWithoutACalendarDatePrintsAsANumber) {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  for (const double seconds : {1e300, -1e300, infinity, -infinity}) {
    EXPECT_EQ(Date{seconds}.iso8601().find('T'), std::string::npos) << seconds;
  }
  EXPECT_EQ(Date{infinity}.description(), "inf");
  EXPECT_EQ(Date{std::nan("")}.description(), "nan");
}

}  // namespace
}  // namespace vigilo
