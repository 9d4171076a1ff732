#include "usage/HookUsage.h"

#include "support/Uuid.h"
#include "usage/ModelRateCard.h"
#include "usage/UsageSource.h"

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
  usage.contextWindow = ModelRateCard::contextWindow(event.model);
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
  ProviderBudgetReport report = reportOf(event, now);
  if (event.contextWindow) {
    const auto context = ContextBudget::of(*event.contextWindow, event.effectiveTotalTokens().value_or(0));
    report.context = BudgetMetric<ContextBudget>::known(context, 1.0, hookUsageSource);
  }
  report.lowBudgetAlert = report.evaluateAlert(now);
  return report;
}

}  // namespace vigilo
