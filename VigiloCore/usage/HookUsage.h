#pragma once

#include <optional>

#include "agents/HookEvent.h"
#include "usage/Budgets.h"
#include "usage/UsageRecords.h"

namespace vigilo {

// Where usage that came with a hook event was read.
inline constexpr const char* hookUsageSource = "relay-hook";

// The usage that a hook event carries; absent where it carries no token figure. A pure function but for the
// fresh identifier.
std::optional<UsageEvent> toUsageEvent(const HookEvent& event);

// The budget report that such an event amounts to. Hooks know nothing of quotas.
ProviderBudgetReport hookBudgetReport(const UsageEvent& event, Date now);

}  // namespace vigilo
