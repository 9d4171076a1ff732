#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vigilo {

// The longest pause that can be asked for: 30 days.
inline constexpr double longestPauseSeconds = 30.0 * 86400;

// Seconds of a duration as people type it: "90s", "30m", "1h30m", "2d". Units in falling order, each at most
// once, whole numbers; at least one second and at most `longestPauseSeconds`. Absent for anything else.
std::optional<double> parseDuration(std::string_view text);

// "4 min 12 s", "1 h 30 min", "12 s": the two largest units.
std::string durationText(double seconds);

}  // namespace vigilo
