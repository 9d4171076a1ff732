#pragma once

#include <optional>

#include "agents/SessionTable.h"
#include "platform/PowerSource.h"
#include "platform/ThermalState.h"
#include "policy/PolicyConfiguration.h"
#include "support/Date.h"

namespace vigilo {

// Everything that one evaluation of the wake policy looks at, gathered by its caller. A plain value.
struct PolicyEvaluationContext {
  PolicyConfiguration config;
  SessionSnapshot sessions;  // null reads as no sessions
  PowerSourceSnapshot powerSource;
  SystemThermalState thermalState = SystemThermalState::nominal;
  std::optional<Date> pauseUntil;                // the end of a pause that the user asked for
  std::optional<Date> lastActiveAgentStoppedAt;  // the anchor of the release debounce
  bool isCurrentlyBatteryBlocked = false;        // whether the previous decision was the battery block
  Date now;                                      // all time arithmetic goes by this, never by a clock
};

}  // namespace vigilo
