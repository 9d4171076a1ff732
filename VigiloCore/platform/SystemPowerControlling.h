#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/ServiceManager.h"

namespace vigilo {

// Reads and changes the system's sleep-disabled setting. Implementations block for two seconds at most,
// however the machine's own service hangs, and may be called from any thread; the lease store serialises its
// calls.
class SystemPowerControlling {
 public:
  virtual ~SystemPowerControlling() = default;

  // Whether system sleep is disabled now, by this process or by administration. Absent when that cannot be
  // read.
  virtual std::optional<bool> readSleepDisabled() = 0;
  // Whether the change is known to have succeeded; one that is not may have come about all the same.
  virtual bool writeSleepDisabled(bool disabled) = 0;

  // Called again and again while a hold is asked for that this controller was to take: takes it again where
  // it was lost, or could not be taken.
  virtual void ensureSleepDisabled() {
    if (!readSleepDisabled().value_or(true)) writeSleepDisabled(true);
  }
  // Whether the setting stays when this process dies: nothing but a record then tells that it must be
  // restored.
  virtual bool outlivesProcess() const { return false; }

  // For people, at start: what the setting is reached through, or what is missing.
  virtual std::string description() const = 0;
};

// The machine's own controller for a process that may hold it: on Linux a logind inhibitor, which the service
// manager keeps while the process is being restarted. `serviceManager` must outlive the controller.
std::unique_ptr<SystemPowerControlling> makeNativePowerController(ServiceManager& serviceManager);

}  // namespace vigilo
