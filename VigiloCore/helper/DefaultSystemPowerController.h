#pragma once

#include <chrono>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/SystemPowerControlling.h"
#include "support/Log.h"
#include "support/Subprocess.h"

namespace vigilo {

// Reads and changes the sleep-disabled setting by running the system's power-management tool, at its fixed
// path. Changing it needs root: the tool refuses otherwise. The setting stays when this process dies.
//
// Each call blocks for the tool's run, which is killed after two seconds. After one that hung, nothing is
// read for ten seconds. The lease store's lock serialises the calls: not thread-safe by itself.
class DefaultSystemPowerController final : public SystemPowerControlling {
 public:
  static constexpr const char* toolPath = "/usr/bin/pmset";

  // Whether any section of the tool's listing shows the setting on. Absent where the tool cannot be run or
  // does not end by itself.
  std::optional<bool> readSleepDisabled() override;
  // The tool's exit status decides; the setting is not read back.
  bool writeSleepDisabled(bool disabled) override;
  bool outlivesProcess() const override { return true; }
  std::string description() const override;

  // Reads what "pmset -g custom" prints. Bytes that are not UTF-8 say nothing: false.
  static bool listingShowsSleepDisabled(std::string_view listing);

 private:
  // Absent where the tool cannot be run, or was killed.
  std::optional<SubprocessResult> run(const std::vector<std::string>& arguments, bool captureOutput);
  void report(const std::string& failure);

  std::chrono::steady_clock::time_point nextReading_;
  FailureEpisode failure_;
};

// The tool where this machine has it, otherwise the platform's native controller, which keeps its hold with
// `serviceManager`; that must outlive the controller.
std::unique_ptr<SystemPowerControlling> makeSystemPowerController(ServiceManager& serviceManager);

}  // namespace vigilo
