#pragma once

#include <string>

#include "support/Date.h"

namespace vigilo {

// Dates as people here read them, in local time; "?" where a date is beyond what calendars are for.

// "10:32:01".
std::string localTime(Date date);

// "2026-11-23 10:32:01".
std::string localDateTime(Date date);

// "10:32:01" on the day of `now`, "Mon 2026-11-23 10:32:01" on any other.
std::string localMoment(Date date, Date now);

}  // namespace vigilo
