#include "usage/Budgets.h"

#include <algorithm>

#include "usage/BudgetMetricCoding.h"

namespace vigilo {

ContextBudget ContextBudget::of(std::int64_t contextWindow, std::int64_t tokensConsumed) {
  ContextBudget budget;
  budget.contextWindow = std::max<std::int64_t>(contextWindow, 1);
  budget.tokensConsumed = std::max<std::int64_t>(tokensConsumed, 0);
  budget.tokensRemaining = std::max<std::int64_t>(budget.contextWindow - budget.tokensConsumed, 0);
  const auto percent = [&](std::int64_t tokens) {
    return static_cast<double>(tokens) / static_cast<double>(budget.contextWindow) * 100;
  };
  budget.percentageRemaining = percent(budget.tokensRemaining);
  budget.percentageUsed = percent(budget.tokensConsumed);
  return budget;
}

AccountQuotaBudget AccountQuotaBudget::ofUsedPercent(double usedPercent) {
  AccountQuotaBudget budget;
  budget.percentageRemaining = std::clamp(100 - usedPercent, 0.0, 100.0);
  budget.usedPercent = usedPercent;
  return budget;
}

std::optional<LowBudgetAlert> ProviderBudgetReport::evaluateAlert(Date now) const {
  const auto known = quota.value();
  const bool isReset = known && known->resetsAt && *known->resetsAt <= now;
  const auto left = [](const auto& metric) {
    const auto budget = metric.value();
    return budget ? std::optional(budget->percentageRemaining) : std::nullopt;
  };
  return LowBudgetThreshold::evaluate(left(context), isReset ? std::nullopt : left(quota));
}

VIGILO_RECORD_CODING(ProviderBudgetReport);

}  // namespace vigilo
