#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

#include "agents/AgentModel.h"
#include "support/Date.h"
#include "support/RecordFields.h"
#include "usage/BudgetMetric.h"
#include "usage/LowBudgetAlert.h"

// What is left of an agent's context window and account quota, and what it costs. Plain values, compared
// field by field; thread-safe.
namespace vigilo {

struct ContextBudget {
  std::int64_t contextWindow = 1;   // tokens
  std::int64_t tokensConsumed = 0;  // may exceed the window
  std::int64_t tokensRemaining = 0;
  double percentageRemaining = 0;
  double percentageUsed = 0;  // not capped at 100

  // A window below 1 counts as 1, a negative consumption as 0.
  static ContextBudget of(std::int64_t contextWindow, std::int64_t tokensConsumed);

  bool operator==(const ContextBudget&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("contextWindow", &ContextBudget::contextWindow),
                      field("tokensConsumed", &ContextBudget::tokensConsumed),
                      field("tokensRemaining", &ContextBudget::tokensRemaining),
                      field("percentageRemaining", &ContextBudget::percentageRemaining),
                      field("percentageUsed", &ContextBudget::percentageUsed)};
  }
};

struct AccountQuotaBudget {
  double percentageRemaining = 0;
  std::optional<double> usedPercent;
  std::optional<std::int64_t> windowMinutes;
  std::optional<Date> resetsAt;
  std::optional<std::string> planType;

  // The percentage that remains is 100 less what is used, within 0 and 100.
  static AccountQuotaBudget ofUsedPercent(double usedPercent);

  bool operator==(const AccountQuotaBudget&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("percentageRemaining", &AccountQuotaBudget::percentageRemaining),
                      field("usedPercent", &AccountQuotaBudget::usedPercent),
                      field("windowMinutes", &AccountQuotaBudget::windowMinutes),
                      field("resetsAt", &AccountQuotaBudget::resetsAt),
                      field("planType", &AccountQuotaBudget::planType)};
  }
};

struct CostBudget {
  double amountUSD = 0;
  bool isEstimated = false;
  std::optional<std::int64_t> unpricedTurnCount;  // turns of which the amount knows nothing

  bool operator==(const CostBudget&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("amountUSD", &CostBudget::amountUSD),
                      field("isEstimated", &CostBudget::isEstimated),
                      field("unpricedTurnCount", &CostBudget::unpricedTurnCount)};
  }
};

// All that a provider knows about its agent's budgets: one record an agent, identified by `agentType`.
// Conventions: what was read from the agent's own files is known with confidence 1.0; what cannot be read is
// unavailable, with "Quota unavailable" or "Context unavailable".
struct ProviderBudgetReport {
  AgentType agentType{};
  std::optional<std::string> sessionId;
  std::optional<std::string> modelId;
  BudgetMetric<ContextBudget> context;
  BudgetMetric<AccountQuotaBudget> quota;
  UsageMetrics sessionUsage;
  std::optional<CostBudget> cost;
  std::optional<LowBudgetAlert> lowBudgetAlert;
  Date lastUpdated;
  std::string source;

  // The alert over what remains of context and quota. A quota whose window has been reset by then alerts
  // nobody.
  std::optional<LowBudgetAlert> evaluateAlert(Date now) const;

  bool operator==(const ProviderBudgetReport&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("agentType", &ProviderBudgetReport::agentType),
                      field("sessionId", &ProviderBudgetReport::sessionId),
                      field("modelId", &ProviderBudgetReport::modelId),
                      field("context", &ProviderBudgetReport::context),
                      field("quota", &ProviderBudgetReport::quota),
                      field("sessionUsage", &ProviderBudgetReport::sessionUsage),
                      field("cost", &ProviderBudgetReport::cost),
                      field("lowBudgetAlert", &ProviderBudgetReport::lowBudgetAlert),
                      field("lastUpdated", &ProviderBudgetReport::lastUpdated),
                      field("source", &ProviderBudgetReport::source)};
  }
};

}  // namespace vigilo
