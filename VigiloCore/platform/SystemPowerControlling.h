#pragma once

#include <memory>
#include <string>

#include "platform/ServiceManager.h"

namespace vigilo {

// Reads and changes the system's sleep-disabled setting. Implementations block for as long as the machine's
// own service needs (at most two seconds) and may be called from any thread; the lease store serialises its
// calls.
class SystemPowerControlling {
 public:
  virtual ~SystemPowerControlling() = default;

  // Whether system sleep is disabled now, by this process or by administration. False when it cannot be read.
  virtual bool readSleepDisabled() = 0;
  // Whether the change succeeded.
  virtual bool writeSleepDisabled(bool disabled) = 0;

  // Called again and again while a hold is in force that this controller was asked for: takes it again where
  // it has been lost. The default does nothing, for a setting that stays when this process dies.
  virtual void ensureSleepDisabled() {}

  // For people, at start: what the setting is reached through, or what is missing.
  virtual std::string description() const = 0;
};

// The machine's own controller for a process that may hold it: on Linux a logind inhibitor, which the service
// manager keeps while the process is being restarted. `serviceManager` must outlive the controller.
std::unique_ptr<SystemPowerControlling> makeNativePowerController(ServiceManager& serviceManager);

}  // namespace vigilo
