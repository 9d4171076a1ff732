#include "support/AwakeClock.h"

#include <ctime>

namespace vigilo {

double secondsAwake() {
#ifdef CLOCK_UPTIME_RAW
  constexpr clockid_t clock = CLOCK_UPTIME_RAW;  // where the monotonic clock goes on during sleep
#else
  constexpr clockid_t clock = CLOCK_MONOTONIC;
#endif
  timespec time{};
  ::clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace vigilo
