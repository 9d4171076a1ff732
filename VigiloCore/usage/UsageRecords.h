#pragma once

#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "agents/AgentModel.h"
#include "support/Date.h"
#include "support/RecordFields.h"

// The records in which token usage is kept, summed and exported. Plain values, compared field by field; token
// counts are signed 64-bit, costs are US dollars, quotas are percent.
namespace vigilo {

// What an agent's file may claim at most. A count, a cost or a percentage beyond it reads as absent, so that
// no damaged or hostile log can bring a sum to overflow.
inline constexpr std::int64_t largestPlausibleFigure = 1'000'000'000'000;

constexpr std::optional<std::int64_t> plausibleCount(std::optional<std::int64_t> count) {
  if (!count || *count > largestPlausibleFigure || *count < -largestPlausibleFigure) return std::nullopt;
  return count;
}
inline std::optional<double> plausibleAmount(std::optional<double> amount) {
  if (!amount || !(std::fabs(*amount) <= static_cast<double>(largestPlausibleFigure))) return std::nullopt;
  return amount;
}

// One observation of token usage, normally one turn of a model.
struct UsageEvent {
  std::string id;  // made by the provider; a repeated delivery may carry another one
  AgentType agentType{};
  std::string sessionId;
  std::optional<std::string> turnId;  // the agent's id of the turn or message
  std::optional<std::string> modelId;
  std::optional<std::int64_t> inputTokens;  // of the prompt, not served from cache
  std::optional<std::int64_t> outputTokens;
  std::optional<std::int64_t> cachedTokens;      // read from cache
  std::optional<std::int64_t> cacheWriteTokens;  // written to cache
  std::optional<std::int64_t> reasoningTokens;
  std::optional<std::int64_t> totalTokens;    // as reported by the agent
  std::optional<std::int64_t> contextWindow;  // the model's, in tokens
  std::optional<double> costEstimateUSD;
  std::optional<double> quotaRemainingPercent;
  Date timestamp;
  std::string source;  // where it was read: "claude-project-log"

  // The event as new ones are made, `UsageEvent::make({.id = ..., .agentType = ...})`: an absent total is
  // filled with input + output + reasoning where that is at least 1. A sum that overflows is fatal.
  static UsageEvent make(UsageEvent fields);

  // The total as reported, otherwise input + output + reasoning; what went through the cache is not part of
  // that sum. Absent when the sum is not positive.
  std::optional<std::int64_t> effectiveTotalTokens() const;

  // Equal for two deliveries of the same usage: agent, session and turn, or where the turn is not known,
  // agent, session, time (seconds since 1970) and total: "claude_abc_1731700000.5_1200".
  std::string deduplicationKey() const;

  bool operator==(const UsageEvent&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("id", &UsageEvent::id),
                      field("agentType", &UsageEvent::agentType),
                      field("sessionId", &UsageEvent::sessionId),
                      field("turnId", &UsageEvent::turnId),
                      field("modelId", &UsageEvent::modelId),
                      field("inputTokens", &UsageEvent::inputTokens),
                      field("outputTokens", &UsageEvent::outputTokens),
                      field("cachedTokens", &UsageEvent::cachedTokens),
                      field("cacheWriteTokens", &UsageEvent::cacheWriteTokens),
                      field("reasoningTokens", &UsageEvent::reasoningTokens),
                      field("totalTokens", &UsageEvent::totalTokens),
                      field("contextWindow", &UsageEvent::contextWindow),
                      field("costEstimateUSD", &UsageEvent::costEstimateUSD),
                      field("quotaRemainingPercent", &UsageEvent::quotaRemainingPercent),
                      field("timestamp", &UsageEvent::timestamp),
                      field("source", &UsageEvent::source)};
  }
};

// What one session of an agent has used so far.
struct SessionUsageRecord {
  std::string id;
  AgentType agentType{};
  std::optional<std::string> modelId;  // of the session's first event, whatever came later
  Date startedAt;                      // of the first event recorded, also when an older one follows
  Date lastActiveAt;                   // the latest seen
  double durationSeconds = 0;          // never negative
  std::int64_t totalTokens = 0;
  std::int64_t inputTokens = 0;
  std::int64_t outputTokens = 0;
  std::int64_t cachedTokens = 0;
  std::int64_t cacheWriteTokens = 0;
  std::int64_t reasoningTokens = 0;
  std::optional<double> estimatedCostUSD;  // absent until an event carries a cost
  // Turns without a cost, which is then what the others cost at least; counted anew, so not in the store's
  // file.
  std::optional<std::int64_t> unpricedTurnCount;
  std::optional<std::int64_t> contextWindow;
  std::optional<double> quotaRemainingPercent;

  bool operator==(const SessionUsageRecord&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("id", &SessionUsageRecord::id),
                      field("agentType", &SessionUsageRecord::agentType),
                      field("modelId", &SessionUsageRecord::modelId),
                      field("startedAt", &SessionUsageRecord::startedAt),
                      field("lastActiveAt", &SessionUsageRecord::lastActiveAt),
                      field("durationSeconds", &SessionUsageRecord::durationSeconds),
                      field("totalTokens", &SessionUsageRecord::totalTokens),
                      field("inputTokens", &SessionUsageRecord::inputTokens),
                      field("outputTokens", &SessionUsageRecord::outputTokens),
                      field("cachedTokens", &SessionUsageRecord::cachedTokens),
                      field("cacheWriteTokens", &SessionUsageRecord::cacheWriteTokens),
                      field("reasoningTokens", &SessionUsageRecord::reasoningTokens),
                      field("estimatedCostUSD", &SessionUsageRecord::estimatedCostUSD),
                      field("unpricedTurnCount", &SessionUsageRecord::unpricedTurnCount),
                      field("contextWindow", &SessionUsageRecord::contextWindow),
                      field("quotaRemainingPercent", &SessionUsageRecord::quotaRemainingPercent)};
  }
};

// One agent's part of a summary.
struct AgentUsageSummary {
  std::int64_t totalTokens = 0;
  std::int64_t inputTokens = 0;
  std::int64_t outputTokens = 0;
  std::int64_t cachedTokens = 0;
  std::int64_t cacheWriteTokens = 0;
  std::int64_t reasoningTokens = 0;
  std::optional<double> estimatedCostUSD;
  std::optional<std::int64_t> unpricedTurnCount;
  std::int64_t sessionCount = 0;  // always 0: sessions are counted over all agents only
  std::int64_t turnCount = 0;

  bool operator==(const AgentUsageSummary&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("totalTokens", &AgentUsageSummary::totalTokens),
                      field("inputTokens", &AgentUsageSummary::inputTokens),
                      field("outputTokens", &AgentUsageSummary::outputTokens),
                      field("cachedTokens", &AgentUsageSummary::cachedTokens),
                      field("cacheWriteTokens", &AgentUsageSummary::cacheWriteTokens),
                      field("reasoningTokens", &AgentUsageSummary::reasoningTokens),
                      field("estimatedCostUSD", &AgentUsageSummary::estimatedCostUSD),
                      field("unpricedTurnCount", &AgentUsageSummary::unpricedTurnCount),
                      field("sessionCount", &AgentUsageSummary::sessionCount),
                      field("turnCount", &AgentUsageSummary::turnCount)};
  }
};

// The sums over a set of events.
struct UsageSummary {
  std::int64_t totalTokens = 0;
  std::int64_t inputTokens = 0;
  std::int64_t outputTokens = 0;
  std::int64_t cachedTokens = 0;
  std::int64_t cacheWriteTokens = 0;
  std::int64_t reasoningTokens = 0;
  std::optional<double> estimatedCostUSD;            // absent until an event carries a cost
  std::optional<std::int64_t> unpricedTurnCount;     // events without a cost; absent where there is no event
  std::int64_t sessionCount = 0;                     // distinct sessions
  std::int64_t turnCount = 0;                        // events
  std::map<std::string, AgentUsageSummary> byAgent;  // keyed by the agent's raw value

  bool operator==(const UsageSummary&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("totalTokens", &UsageSummary::totalTokens),
                      field("inputTokens", &UsageSummary::inputTokens),
                      field("outputTokens", &UsageSummary::outputTokens),
                      field("cachedTokens", &UsageSummary::cachedTokens),
                      field("cacheWriteTokens", &UsageSummary::cacheWriteTokens),
                      field("reasoningTokens", &UsageSummary::reasoningTokens),
                      field("estimatedCostUSD", &UsageSummary::estimatedCostUSD),
                      field("unpricedTurnCount", &UsageSummary::unpricedTurnCount),
                      field("sessionCount", &UsageSummary::sessionCount),
                      field("turnCount", &UsageSummary::turnCount),
                      field("byAgent", &UsageSummary::byAgent)};
  }
};

// What the events of one hour of local time add up to.
struct UsageHour {
  Date start;
  std::int64_t totalTokens = 0;
  std::int64_t turnCount = 0;

  bool operator==(const UsageHour&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("start", &UsageHour::start), field("totalTokens", &UsageHour::totalTokens),
                      field("turnCount", &UsageHour::turnCount)};
  }
};

// What leaves the machine when the user exports: counts, ids, model names, dates and costs, never a prompt, a
// path or a file's content.
struct ExportPayload {
  Date exportedAt;
  std::int64_t schemaVersion = 1;
  UsageSummary todaySummary;
  std::vector<SessionUsageRecord> sessions;  // most recently active first
  std::int64_t eventCount = 0;

  bool operator==(const ExportPayload&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("exportedAt", &ExportPayload::exportedAt),
                      field("schemaVersion", &ExportPayload::schemaVersion),
                      field("todaySummary", &ExportPayload::todaySummary),
                      field("sessions", &ExportPayload::sessions),
                      field("eventCount", &ExportPayload::eventCount)};
  }
};

}  // namespace vigilo
