#include "platform/linux/LogindLidState.h"

#include <filesystem>

#include "platform/linux/Bus.h"
#include "platform/linux/SysfsFile.h"

namespace vigilo {

std::optional<bool> LogindLidState::isClamshellClosed() {
  const auto closed = bus::isLidClosed();
  return closed ? std::optional(*closed) : readAcpiButton();
}

std::optional<bool> LogindLidState::readAcpiButton() const {
  for (const auto& lid : sysfs::folders(procRoot_ + "/acpi/button/lid")) {
    // "state:      closed"
    if (const auto state = sysfs::readText(lid + "/state")) return state->ends_with("closed");
  }
  return std::nullopt;
}

std::string LogindLidState::description() const {
  const auto closed = bus::isLidClosed();
  if (closed) return "logind";
  if (readAcpiButton()) return "ACPI lid button";
  return "none (" + closed.error().description + ")";
}

std::unique_ptr<LidStateProvider> makeLidStateProvider() {
  return std::make_unique<LogindLidState>();
}

}  // namespace vigilo
