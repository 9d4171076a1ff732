#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "support/AwakeClock.h"
#include "support/Date.h"
#include "support/Queue.h"

namespace vigilo::test {

// Time that jumps: all queues made here share one thread, the test's own, and one clock that moves only in
// `advance` and `runUntilIdle`. Tasks run in the order of their due times, equal ones in the order in which
// they were added.
class VirtualTime {
 public:
  // Starts at 2026-11-21 12:00:00 UTC.
  explicit VirtualTime(Date start = Date::fromUnix(1795262400));
  ~VirtualTime();

  // Whatever the queue is given runs `lag` seconds later than asked for, as on a thread that is slow to wake.
  std::unique_ptr<Queue> queue(std::string label, double lag = 0);
  Date now() const;
  Clock clock() const;
  AwakeClock awakeClock() const;

  // Runs everything that is due now, without moving the clock.
  void runUntilIdle();
  // Moves the clock on by so many seconds and runs all that becomes due on the way, at its due time.
  void advance(double seconds);
  // Moves only the wall clock, as a user or a time server does, or a sleep of the machine; timers and the
  // awake clock do not notice.
  void setWallClock(Date date);

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace vigilo::test
