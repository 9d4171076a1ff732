#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "support/Result.h"

namespace vigilo {

enum class PowerAssertionType {
  preventUserIdleSystemSleep,   // "PreventUserIdleSystemSleep"
  preventUserIdleDisplaySleep,  // "PreventUserIdleDisplaySleep"
};

struct PowerAssertionError {
  int code = 0;  // the platform's return code; on Linux an errno
};

// Named requests to the machine not to fall asleep for want of user input. An assertion stands from its
// creation to its release or to the end of the process, whichever comes first. Calls block for at most two
// seconds; thread-safe.
class PowerAssertions {
 public:
  virtual ~PowerAssertions() = default;
  // The new assertion's identifier, never 0.
  virtual Result<std::uint32_t, PowerAssertionError> create(PowerAssertionType type,
                                                            const std::string& name) = 0;
  virtual void release(std::uint32_t identifier) = 0;
  // Whether the assertion still stands; a service that was restarted may have dropped it.
  virtual bool stands(std::uint32_t identifier) = 0;
  // For people, at start: the service that holds them, or what is missing.
  virtual std::string description() const = 0;
};

std::unique_ptr<PowerAssertions> makePowerAssertions();

}  // namespace vigilo
