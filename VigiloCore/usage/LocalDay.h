#pragma once

#include "support/Date.h"

namespace vigilo {

// A calendar day of the local time zone: from its first moment, which daylight saving can put at another
// hour than midnight, to the first moment of the next day. A plain value; thread-safe.
struct LocalDay {
  Date start;
  Date end;  // not part of the day

  static LocalDay containing(Date moment);
  bool contains(Date moment) const { return start <= moment && moment < end; }
};

// The full hour by the local clock in which the moment lies.
Date startOfLocalHour(Date moment);

}  // namespace vigilo
