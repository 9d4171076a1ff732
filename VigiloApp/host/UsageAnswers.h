#pragma once

#include "VigiloApp/control/ControlProtocol.h"
#include "usage/UsageStore.h"

namespace vigilo {

// Answers usageSummary, usageSessions and usageHours from the store: the running host and a command without
// one give the same answer, since both ask here. Waits for the disk where the store is not loaded yet.
ControlResponse answerFromStore(const ControlRequest& request, UsageStore& store);

}  // namespace vigilo
