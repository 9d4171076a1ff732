#pragma once

#include <cstdint>
#include <optional>

#include "usage/UsageRecords.h"

namespace vigilo {

// The figures of one event of which sums are made. Absent counts are 0. A plain value.
struct UsageFigures {
  std::int64_t totalTokens = 0;  // as reported, else input + output + reasoning where that is positive
  std::int64_t inputTokens = 0;
  std::int64_t outputTokens = 0;
  std::int64_t cachedTokens = 0;
  std::int64_t cacheWriteTokens = 0;
  std::int64_t reasoningTokens = 0;
  std::optional<double> costUSD;

  static UsageFigures of(const UsageEvent& event);

  // Adds to the sums of a session or a summary. A sum that overflows is fatal.
  void addTo(SessionUsageRecord& sums) const;
  void addTo(AgentUsageSummary& sums) const;
  void addTo(UsageSummary& sums) const;
};

}  // namespace vigilo
