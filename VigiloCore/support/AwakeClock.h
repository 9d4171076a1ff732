#pragma once

#include <functional>

namespace vigilo {

// For how many seconds the machine has been awake since some moment in the past: grows evenly, whatever is
// done to the wall clock, and stands still while the machine sleeps. Thread-safe.
double secondsAwake();

// That, handed in from outside so that tests can drive it. Callable from any thread.
using AwakeClock = std::function<double()>;

}  // namespace vigilo
