#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "usage/Budgets.h"
#include "usage/UsageRecords.h"

namespace vigilo {

// What the usage commands print, at most `width` columns wide, each ending in a line feed.
std::string summaryText(const UsageSummary& summary, const std::string& period, std::size_t width);
std::string sessionsText(const std::vector<SessionUsageRecord>& sessions, std::size_t width);
std::string budgetsText(const std::vector<ProviderBudgetReport>& reports, Date now, std::size_t width);

}  // namespace vigilo
