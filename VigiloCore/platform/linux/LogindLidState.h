#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/LidState.h"

namespace vigilo {

// The lid as logind sees it, else as the kernel's ACPI button tells. `procRoot` stands for /proc. Blocks for
// one call to logind; thread-safe, without state.
class LogindLidState final : public LidStateProvider {
 public:
  explicit LogindLidState(std::string procRoot = "/proc") : procRoot_(std::move(procRoot)) {}
  std::optional<bool> isClamshellClosed() override;
  std::string description() const override;

 private:
  std::optional<bool> readAcpiButton() const;
  const std::string procRoot_;
};

}  // namespace vigilo
