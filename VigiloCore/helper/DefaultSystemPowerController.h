#pragma once

#include <memory>
#include <string_view>

#include "platform/SystemPowerControlling.h"

namespace vigilo {

// Reads and changes the sleep-disabled setting by running the system's power-management tool, at its fixed
// path. Changing it needs root: the tool refuses otherwise. The setting stays when this process dies. Each
// call blocks for the tool's run; no state, so thread-safe.
class DefaultSystemPowerController final : public SystemPowerControlling {
 public:
  static constexpr const char* toolPath = "/usr/bin/pmset";

  // Whether any section of the tool's listing shows the setting on. False where the tool cannot be run.
  bool readSleepDisabled() override;
  // The tool's exit status decides; the setting is not read back.
  bool writeSleepDisabled(bool disabled) override;
  std::string description() const override;

  // Reads what "pmset -g custom" prints. Bytes that are not UTF-8 say nothing: false.
  static bool listingShowsSleepDisabled(std::string_view listing);
};

// The tool where this machine has it, otherwise the platform's native controller, which keeps its hold with
// `serviceManager`; that must outlive the controller.
std::unique_ptr<SystemPowerControlling> makeSystemPowerController(ServiceManager& serviceManager);

}  // namespace vigilo
