#include "usage/HookUsage.h"

#include <algorithm>

#include "support/Uuid.h"
#include "usage/ModelRateCard.h"

namespace vigilo {

std::optional<UsageEvent> toUsageEvent(const HookEvent& event) {
  if (!event.inputTokens && !event.outputTokens && !event.cachedTokens && !event.reasoningTokens)
    return std::nullopt;
  UsageEvent usage;
  usage.id = makeUuid();
  usage.agentType = event.agent;
  usage.sessionId = event.sessionId;
  usage.turnId = event.turnId;
  usage.modelId = event.model;
  usage.inputTokens = event.inputTokens;
  usage.outputTokens = event.outputTokens;
  usage.cachedTokens = event.cachedTokens;
  usage.reasoningTokens = event.reasoningTokens;
  usage.costEstimateUSD =
      ModelRateCard::estimateCost(event.model, {.inputTokens = event.inputTokens,
                                                .outputTokens = event.outputTokens,
                                                .cachedTokens = event.cachedTokens,
                                                .reasoningTokens = event.reasoningTokens});
  usage.timestamp = event.timestamp;
  usage.source = hookUsageSource;
  return UsageEvent::make(std::move(usage));
}

ProviderBudgetReport hookBudgetReport(const UsageEvent& event, Date now) {
  ProviderBudgetReport report;
  report.agentType = event.agentType;
  report.sessionId = event.sessionId;
  report.modelId = event.modelId;
  const auto window = event.contextWindow ? event.contextWindow : ModelRateCard::contextWindow(event.modelId);
  report.context =
      window ? BudgetMetric<ContextBudget>::known(
                   ContextBudget::of(*window, event.effectiveTotalTokens().value_or(0)), 1.0, hookUsageSource)
             : BudgetMetric<ContextBudget>::unavailable("Context unavailable");
  report.quota = BudgetMetric<AccountQuotaBudget>::unavailable("Quota unavailable");
  report.sessionUsage = {.inputTokens = event.inputTokens,
                         .outputTokens = event.outputTokens,
                         .cachedTokens = event.cachedTokens,
                         .reasoningTokens = event.reasoningTokens,
                         .totalTokens = event.totalTokens,
                         .contextWindow = window,
                         .sessionCostEstimateUSD = event.costEstimateUSD,
                         .recordedAt = event.timestamp};
  if (event.costEstimateUSD) report.cost = CostBudget{std::max(*event.costEstimateUSD, 0.0), true};
  report.lowBudgetAlert = report.evaluateAlert();
  report.lastUpdated = now;
  report.source = hookUsageSource;
  return report;
}

}  // namespace vigilo
