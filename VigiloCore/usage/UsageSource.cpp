#include "usage/UsageSource.h"

#include <algorithm>

namespace vigilo {

ProviderBudgetReport reportOf(const UsageEvent& event, Date now) {
  ProviderBudgetReport report;
  report.agentType = event.agentType;
  report.sessionId = event.sessionId;
  report.modelId = event.modelId;
  report.context = BudgetMetric<ContextBudget>::unavailable("Context unavailable");
  report.quota = BudgetMetric<AccountQuotaBudget>::unavailable("Quota unavailable");
  report.sessionUsage = {.inputTokens = event.inputTokens,
                         .outputTokens = event.outputTokens,
                         .cachedTokens = event.cachedTokens,
                         .cacheWriteTokens = event.cacheWriteTokens,
                         .reasoningTokens = event.reasoningTokens,
                         .totalTokens = event.totalTokens,
                         .contextWindow = event.contextWindow,
                         .sessionCostEstimateUSD = std::nullopt,
                         .recordedAt = now};
  if (event.costEstimateUSD) report.cost = CostBudget{std::max(*event.costEstimateUSD, 0.0), true};
  report.lastUpdated = now;
  report.source = event.source;
  return report;
}

}  // namespace vigilo
