#include "VigiloApp/commands/UsageText.h"

#include <algorithm>
#include <cmath>
#include <ctime>

#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/commands/TextTable.h"
#include "usage/PartialCost.h"

namespace vigilo {
namespace {

constexpr int barLength = 10;

template <class Sums>
std::string cost(const Sums& sums) {
  if (!sums.estimatedCostUSD) return "unknown";
  return atLeast(dollars(*sums.estimatedCostUSD), sums.unpricedTurnCount);
}

std::string cost(const std::optional<CostBudget>& cost) {
  if (!cost) return "unknown";
  const bool isWhole = cost->unpricedTurnCount.value_or(0) == 0;
  return (isWhole && cost->isEstimated ? "~" : "") +
         atLeast(dollars(cost->amountUSD), cost->unpricedTurnCount);
}

// A line below a table for a row whose cost is not whole.
std::string unpricedRemark(const std::string& name, std::optional<double> amountUSD,
                           std::optional<std::int64_t> turns) {
  if (turns.value_or(0) == 0) return "";
  const std::string amount = amountUSD ? atLeast(dollars(*amountUSD), turns) + ", " : "";
  return name + ": " + amount + unpricedTurns(*turns) + "\n";
}

std::string agentName(const std::string& rawAgent) {
  const auto agent = fromRawValue<AgentType>(rawAgent);
  return agent ? displayName(*agent) : printable(rawAgent);
}

std::string localMinute(Date date) {
  if (!(std::abs(date.unixSeconds()) < 1e11)) return "?";
  const auto seconds = static_cast<std::time_t>(date.unixSeconds());
  tm local{};
  ::localtime_r(&seconds, &local);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local);
  return text;
}

std::string percent(double value) {
  return std::to_string(static_cast<long long>(std::round(std::clamp(value, -1e6, 1e6)))) + " %";
}

template <class Summary>
std::vector<std::string> summaryRow(const std::string& name, const Summary& summary) {
  return {name,
          grouped(summary.turnCount),
          grouped(summary.inputTokens),
          grouped(summary.outputTokens),
          grouped(summary.cachedTokens),
          grouped(summary.cacheWriteTokens),
          grouped(summary.reasoningTokens),
          grouped(summary.totalTokens),
          cost(summary)};
}

std::string bar(double used) {
  const auto filled = static_cast<int>(std::lround(std::clamp(used, 0.0, 100.0) / 100 * barLength));
  std::string text;
  for (int i = 0; i < barLength; ++i) text += i < filled ? "█" : "░";
  return text + " " + percent(used);
}

std::string contextText(const BudgetMetric<ContextBudget>& metric) {
  const auto context = metric.value();
  if (!context) return metric.unavailableReason().value_or("");
  return bar(context->percentageUsed) + " of " + grouped(context->contextWindow);
}

std::string quotaText(const BudgetMetric<AccountQuotaBudget>& metric, Date now) {
  const auto quota = metric.value();
  if (!quota) return metric.unavailableReason().value_or("");
  std::string text = percent(quota->percentageRemaining) + " left";
  if (!quota->resetsAt) return text;
  if (*quota->resetsAt <= now) return text + ", reset was due " + localMinute(*quota->resetsAt);
  return text + ", resets " + localMinute(*quota->resetsAt) + " (in " + durationText(*quota->resetsAt - now) +
         ")";
}

}  // namespace

std::string summaryText(const UsageSummary& summary, const std::string& period, std::size_t width) {
  if (summary.turnCount == 0) return "No usage is on record for " + period + ".\n";
  TextTable table({{"Agent", false, true},
                   {"Turns", true},
                   {"Input", true},
                   {"Output", true},
                   {"Cached", true},
                   {"Cache write", true},
                   {"Reasoning", true},
                   {"Total", true},
                   {"Cost", true}});
  std::string remarks;
  const auto add = [&](const std::string& name, const auto& sums) {
    table.add(summaryRow(name, sums));
    remarks += unpricedRemark(name, sums.estimatedCostUSD, sums.unpricedTurnCount);
  };
  for (const auto& [agent, part] : summary.byAgent) add(agentName(agent), part);
  add("All", summary);
  return "Usage of " + period + ": " + grouped(summary.sessionCount) +
         (summary.sessionCount == 1 ? " session" : " sessions") + ", costs estimated\n" + table.text(width) +
         remarks;
}

std::string sessionsText(const std::vector<SessionUsageRecord>& sessions, std::size_t width) {
  if (sessions.empty()) return "No session is on record.\n";
  TextTable table({{"Last active"},
                   {"Agent"},
                   {"Model", false, true},
                   {"Duration", true},
                   {"Tokens", true},
                   {"Cost", true},
                   {"Session", false, true}});
  std::int64_t unpriced = 0;
  for (const auto& session : sessions) {
    unpriced += session.unpricedTurnCount.value_or(0);
    table.add({localMinute(session.lastActiveAt), displayName(session.agentType),
               printable(session.modelId.value_or("unknown")), durationText(session.durationSeconds),
               grouped(session.totalTokens), cost(session), printable(session.id)});
  }
  return table.text(width) + (unpriced > 0 ? unpricedTurns(unpriced) + "\n" : "");
}

std::string budgetsText(const std::vector<ProviderBudgetReport>& reports, Date now, std::size_t width) {
  if (reports.empty()) return "No agent has reported any usage yet.\n";
  TextTable table({{"Agent"},
                   {"Model", false, true},
                   {"Context used", false, true},
                   {"Quota", false, true},
                   {"Cost", true},
                   {"Alert", false, true}});
  std::string remarks;
  for (const auto& report : reports) {
    const std::string name = displayName(report.agentType);
    table.add({name, printable(report.modelId.value_or("unknown")), contextText(report.context),
               quotaText(report.quota, now), cost(report.cost),
               report.lowBudgetAlert ? report.lowBudgetAlert->message : "none"});
    if (report.cost) remarks += unpricedRemark(name, report.cost->amountUSD, report.cost->unpricedTurnCount);
  }
  return table.text(width) + remarks;
}

}  // namespace vigilo
