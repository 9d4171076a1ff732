#pragma once

#include <compare>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vigilo {

// A moment of wall time: seconds, with fraction, since 2001-01-01 00:00:00 UTC. It is a double of exactly
// that count, so that what was decoded from a file or a socket encodes to the same digits. A plain value;
// thread-safe.
struct Date {
  double secondsSinceReference = 0;

  // The reference date in seconds since 1970-01-01 00:00:00 UTC.
  static constexpr double unixEpochOfReference = 978307200.0;

  static constexpr Date fromUnix(double seconds) { return {seconds - unixEpochOfReference}; }
  constexpr double unixSeconds() const { return secondsSinceReference + unixEpochOfReference; }

  // The system's wall clock, with a resolution of a microsecond or better.
  static Date now();

  // "2026-11-21 07:57:11 +0000": the form that log lines use. Moments outside years 1 to 9999, and values
  // that are not finite, print as the bare number.
  std::string description() const;
  // "2026-11-21T07:57:11Z", whole seconds, rounded down; the same rule outside years 1 to 9999.
  std::string iso8601() const;
  // Reads "2026-11-21T07:57:11Z", with an optional fraction and with "Z" or an offset such as "+01:00".
  static std::optional<Date> fromIso8601(std::string_view text);

  constexpr auto operator<=>(const Date&) const = default;
};

constexpr Date operator+(Date date, double seconds) {
  return {date.secondsSinceReference + seconds};
}
constexpr Date operator-(Date date, double seconds) {
  return {date.secondsSinceReference - seconds};
}
constexpr double operator-(Date later, Date earlier) {
  return later.secondsSinceReference - earlier.secondsSinceReference;
}

// The notion of "now", handed in from outside so that tests can drive it. Callable from any thread.
using Clock = std::function<Date()>;

}  // namespace vigilo
