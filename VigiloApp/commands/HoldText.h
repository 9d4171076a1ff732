#pragma once

#include <string>

#include "VigiloApp/control/StatusReport.h"
#include "app/HoldInForce.h"

namespace vigilo {

// What people are told of the holds, from how far they are in force.

// What the report says of it; of a host that does not say it yet, what follows from the rest of the report.
HoldInForce inForceOf(const StatusReport& report);

// What is missing of a hold that is not in force as it was decided on: "a closed lid suspends: no helper
// runs", "the idle hold was refused". Empty when nothing is, or when that is not known yet.
std::string missingText(const HoldInForce& force);

// The state of either hold in a few words: "held off", "held, also with the lid closed; renewed while needed,
// lease until 12:00:40".
std::string idleHoldText(const HoldInForce& force);
std::string deepHoldText(const StatusReport& report, Date now);

// For whom the helper holds, when it is not this host: "user anna", "an earlier host of this user".
std::string holderText(const DeepSleepStatus& helper);

// One line about a decision and what became of it: "holding: Claude Code working; also with the lid closed".
std::string holdLine(const WakeDecision& decision, const HoldInForce& force);

}  // namespace vigilo
