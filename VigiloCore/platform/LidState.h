#pragma once

#include <memory>
#include <optional>
#include <string>

namespace vigilo {

// Reads whether the lid is closed. Blocks for a call to the machine's service, at most two seconds;
// thread-safe.
class LidStateProvider {
 public:
  virtual ~LidStateProvider() = default;
  // Absent where there is no lid or nobody who knows.
  virtual std::optional<bool> isClamshellClosed() = 0;
  // For people, at start: where the state is read, or what is missing.
  virtual std::string description() const = 0;
};

std::unique_ptr<LidStateProvider> makeLidStateProvider();

}  // namespace vigilo
