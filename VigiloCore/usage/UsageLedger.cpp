#include "usage/UsageLedger.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <unordered_set>
#include <utility>

#include "support/Log.h"
#include "support/RecordCoding.h"

namespace vigilo {
namespace {

using Count = std::optional<std::int64_t>;

// Below half of what 64 bits hold, so that sums which round as doubles are safe too.
constexpr double largestMagnitude = 4e18;

constexpr double secondsPerHour = 3600;

double magnitude(std::initializer_list<Count> counts, std::optional<double> costUSD) {
  double sum = std::fabs(costUSD.value_or(0));
  for (const Count count : counts) sum += std::fabs(static_cast<double>(count.value_or(0)));
  return sum;
}

double magnitudeOf(const UsageEvent& event) {
  return magnitude({event.totalTokens, event.inputTokens, event.outputTokens, event.cachedTokens,
                    event.cacheWriteTokens, event.reasoningTokens},
                   event.costEstimateUSD);
}

double magnitudeOf(const SessionUsageRecord& session) {
  return magnitude({session.totalTokens, session.inputTokens, session.outputTokens, session.cachedTokens,
                    session.cacheWriteTokens, session.reasoningTokens},
                   session.estimatedCostUSD);
}

// False for what is not a number, too.
bool isWithinReason(double value) {
  return std::fabs(value) <= largestMagnitude;
}

bool isWithinReason(const UsageEvent& event) {
  return isWithinReason(event.timestamp.secondsSinceReference) &&
         isWithinReason(event.quotaRemainingPercent.value_or(0));
}

bool isWithinReason(const SessionUsageRecord& session) {
  return isWithinReason(session.startedAt.secondsSinceReference) &&
         isWithinReason(session.lastActiveAt.secondsSinceReference);
}

UsageEvent decodeStored(std::string_view encoded) {
  auto event = decodeRecord<UsageEvent>(encoded);
  if (!event) fatal("a stored usage event does not decode: " + event.error().description);
  return *std::move(event);
}

}  // namespace

bool UsageLedger::admits(double magnitude) {
  if (!(magnitude_ + magnitude <= largestMagnitude)) return false;
  magnitude_ += magnitude;
  return true;
}

UsageLedger::Addition UsageLedger::add(UsageEvent event) {
  const std::string key = event.deduplicationKey();
  if (seen_.contains(key)) return Addition::duplicate;
  // It counts twice: as an event and in its session.
  if (!isWithinReason(event) || !admits(2 * magnitudeOf(event))) return Addition::refused;
  const std::string encoded = encodeRecord(event);
  // Text that is not UTF-8 was encoded with replacement characters: go on with what a later run will read.
  if (encoded.find("\xEF\xBF\xBD") != std::string::npos) event = decodeStored(encoded);
  seen_.insert(key);
  append(event, encoded);
  fold(event);
  return Addition::added;
}

bool UsageLedger::restore(const UsageEvent& event) {
  if (!isWithinReason(event) || !admits(magnitudeOf(event))) return false;
  seen_.insert(event.deduplicationKey());
  append(event, encodeRecord(event));
  return true;
}

bool UsageLedger::restore(const std::string& sessionId, const SessionUsageRecord& session) {
  if (!isWithinReason(session) || !admits(magnitudeOf(session))) return false;
  put(sessionId, session);
  return true;
}

void UsageLedger::append(const UsageEvent& event, std::string_view encoded) {
  StoredSession& session = sessions_[event.sessionId];
  if (!event.costEstimateUSD) ++session.unpricedTurns;
  events_.push_back(
      {encodedEvents_.append(encoded), &session, UsageFigures::of(event), event.timestamp, event.agentType});
}

void UsageLedger::fold(const UsageEvent& event) {
  SessionUsageRecord record = sessions_[event.sessionId].record.value_or(SessionUsageRecord{
      .id = event.sessionId,
      .agentType = event.agentType,
      .modelId = event.modelId,
      .startedAt = event.timestamp,
      .lastActiveAt = event.timestamp,
  });
  record.lastActiveAt = std::max(event.timestamp, record.lastActiveAt);
  record.durationSeconds = std::max(record.lastActiveAt - record.startedAt, 0.0);
  UsageFigures::of(event).addTo(record);
  if (event.contextWindow) record.contextWindow = event.contextWindow;
  if (event.quotaRemainingPercent) record.quotaRemainingPercent = event.quotaRemainingPercent;
  put(event.sessionId, std::move(record));
}

void UsageLedger::put(const std::string& sessionId, SessionUsageRecord record) {
  StoredSession& session = sessions_[sessionId];
  session.encoded = "," + coding::print(sessionId, {}) + ":" + encodeRecord(record);
  session.record = std::move(record);
}

std::size_t UsageLedger::sessionCount() const {
  return static_cast<std::size_t>(
      std::ranges::count_if(sessions_, [](const auto& entry) { return entry.second.record.has_value(); }));
}

UsageSummary UsageLedger::summary(const std::function<bool(Date)>& chosen) const {
  UsageSummary summary;
  std::array<AgentUsageSummary, RawValues<AgentType>::table.size()> agents;
  std::unordered_set<const StoredSession*> sessions;
  for (const StoredEvent& event : events_) {
    if (!chosen(event.timestamp)) continue;
    AgentUsageSummary& agent = agents[static_cast<std::size_t>(event.agentType)];
    event.figures.addTo(summary);
    event.figures.addTo(agent);
    ++summary.turnCount;
    ++agent.turnCount;
    const int unpriced = event.figures.costUSD ? 0 : 1;
    summary.unpricedTurnCount = summary.unpricedTurnCount.value_or(0) + unpriced;
    agent.unpricedTurnCount = agent.unpricedTurnCount.value_or(0) + unpriced;
    sessions.insert(event.session);
  }
  summary.sessionCount = static_cast<std::int64_t>(sessions.size());
  for (const auto& [agent, name] : RawValues<AgentType>::table) {
    const AgentUsageSummary& sums = agents[static_cast<std::size_t>(agent)];
    if (sums.turnCount > 0) summary.byAgent.emplace(name, sums);
  }
  return summary;
}

void UsageLedger::addTo(std::vector<UsageHour>& hours) const {
  if (hours.empty()) return;
  const Date first = hours.front().start;
  for (const StoredEvent& event : events_) {
    const double index = std::floor((event.timestamp - first) / secondsPerHour);
    if (!(index >= 0 && index < static_cast<double>(hours.size()))) continue;
    UsageHour& hour = hours[static_cast<std::size_t>(index)];
    hour.totalTokens += event.figures.totalTokens;
    ++hour.turnCount;
  }
}

std::vector<SessionUsageRecord> UsageLedger::recentSessions(std::size_t limit) const {
  std::vector<const StoredSession*> all;
  for (const auto& [id, session] : sessions_) {
    if (session.record) all.push_back(&session);
  }
  limit = std::min(limit, all.size());
  std::ranges::partial_sort(all, all.begin() + static_cast<std::ptrdiff_t>(limit), std::greater{},
                            [](const auto* session) { return session->record->lastActiveAt; });
  std::vector<SessionUsageRecord> recent;
  for (std::size_t i = 0; i < limit; ++i) recent.push_back(all[i]->shown());
  return recent;
}

SessionUsageRecord UsageLedger::StoredSession::shown() const {
  SessionUsageRecord result = *record;
  result.unpricedTurnCount = unpricedTurns;
  return result;
}

std::optional<SessionUsageRecord> UsageLedger::session(const std::string& sessionId) const {
  const auto found = sessions_.find(sessionId);
  if (found == sessions_.end() || !found->second.record) return std::nullopt;
  return found->second.shown();
}

std::vector<UsageEvent> UsageLedger::allEvents() const {
  std::vector<UsageEvent> all;
  all.reserve(events_.size());
  for (const StoredEvent& event : events_) all.push_back(decodeStored(event.encoded));
  return all;
}

std::vector<std::string_view> UsageLedger::encodedEvents(std::size_t first) const {
  std::vector<std::string_view> encoded;
  for (std::size_t i = first; i < events_.size(); ++i) encoded.push_back(events_[i].encoded);
  return encoded;
}

std::vector<std::string_view> UsageLedger::filePieces() const {
  std::vector<std::string_view> pieces{R"({"schemaVersion":1,"events":[)"};
  encodedEvents_.appendPieces(pieces);
  pieces.push_back(R"(],"sessions":{)");
  const std::size_t firstSession = pieces.size();
  for (const auto& [id, session] : sessions_) {
    if (session.record) pieces.push_back(session.encoded);
  }
  if (pieces.size() > firstSession) pieces[firstSession].remove_prefix(1);
  pieces.push_back(R"(},"seenKeys":[)");
  seen_.encoded().appendPieces(pieces);
  pieces.push_back("]}");
  return pieces;
}

}  // namespace vigilo
