#include "app/AgentFamilyPresentation.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>

#include "agents/ProcessSession.h"
#include "support/RecordCoding.h"
#include "usage/BudgetMetricCoding.h"
#include "usage/PartialCost.h"

namespace vigilo {
namespace {

constexpr double shownAfterLastEventSeconds = 3600;

using Members = std::vector<const AgentSession*>;

bool isShown(const AgentSession& session, Date now) {
  return session.isWorking() || now - session.lastEventAt < shownAfterLastEventSeconds;
}

// Working first, then waiting, then all others.
int rank(AgentState state) {
  return state == AgentState::working ? 0 : state == AgentState::waiting ? 1 : 2;
}

// What a group of sessions is sorted by: the best rank among them, then the newest event.
struct Standing {
  int rank = 2;
  Date newestEvent;

  explicit Standing(const Members& members) : newestEvent(members.front()->lastEventAt) {
    for (const AgentSession* session : members) {
      rank = std::min(rank, vigilo::rank(session->state));
      newestEvent = std::max(newestEvent, session->lastEventAt);
    }
  }
  bool operator<(const Standing& other) const {
    return rank != other.rank ? rank < other.rank : newestEvent > other.newestEvent;
  }
};

std::vector<AgentSession> copiesOf(const Members& members) {
  std::vector<AgentSession> copies;
  copies.reserve(members.size());
  for (const AgentSession* session : members) copies.push_back(*session);
  return copies;
}

template <class Matches>
int count(const Members& members, Matches matches) {
  return static_cast<int>(std::count_if(members.begin(), members.end(),
                                        [&](const AgentSession* session) { return matches(*session); }));
}

AgentState aggregate(const Members& members) {
  for (const AgentState state :
       {AgentState::working, AgentState::waiting, AgentState::error, AgentState::completed}) {
    if (count(members, [state](const AgentSession& s) { return s.state == state; }) > 0) return state;
  }
  return AgentState::idle;
}

int distinctProcesses(const Members& members) {
  std::set<std::int32_t> pids;
  for (const AgentSession* session : members) {
    if (session->pid) pids.insert(*session->pid);
  }
  return static_cast<int>(pids.size());
}

// Groups by a key and sorts the groups by standing; equal ones stay in the order of their keys.
template <class Key, class KeyOf>
std::vector<std::pair<Key, Members>> grouped(const Members& members, KeyOf keyOf) {
  std::map<Key, Members> byKey;
  for (const AgentSession* session : members) byKey[keyOf(*session)].push_back(session);
  std::vector<std::pair<Standing, typename std::map<Key, Members>::iterator>> order;
  for (auto entry = byKey.begin(); entry != byKey.end(); ++entry) {
    order.emplace_back(Standing(entry->second), entry);
  }
  std::stable_sort(order.begin(), order.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::pair<Key, Members>> groups;
  for (const auto& [standing, entry] : order) groups.emplace_back(entry->first, std::move(entry->second));
  return groups;
}

std::vector<AgentHostPresentation> hostsOf(const std::string& familyId, const Members& members) {
  std::vector<AgentHostPresentation> hosts;
  const auto name = [](const AgentSession& session) { return session.hostAppName.value_or("Other"); };
  for (const auto& [host, sessions] : grouped<std::string>(members, name)) {
    hosts.push_back({familyId + "/" + host, host, copiesOf(sessions)});
  }
  return hosts;
}

AgentFamilyPresentation familyOf(AgentType agent, const Members& members) {
  AgentFamilyPresentation family;
  family.id = rawValue(agent);
  family.displayName = displayName(agent);
  family.agentType = agent;
  family.aggregateState = aggregate(members);
  family.sessionCount = static_cast<int>(members.size());
  const int reported = count(members, [](const AgentSession& s) { return !isProcessSession(s); });
  family.logicalSessionCount = reported > 0 ? reported : family.sessionCount;
  family.workingSessionCount =
      count(members, [](const AgentSession& s) { return s.state == AgentState::working; });
  family.waitingSessionCount =
      count(members, [](const AgentSession& s) { return s.state == AgentState::waiting; });
  family.processCount = distinctProcesses(members);
  family.hosts = hostsOf(family.id, members);
  family.hostCount = static_cast<int>(family.hosts.size());
  family.sessions = copiesOf(members);
  return family;
}

std::string percent(double value) {
  return std::to_string(std::lround(std::clamp(value, 0.0, 100.0))) + "%";
}

std::string dollars(double amount) {
  char text[400];
  std::snprintf(text, sizeof text, "$%.2f", amount);
  return text;
}

}  // namespace

std::vector<AgentFamilyPresentation> AgentFamilyPresentation::buildFamilies(
    const std::vector<AgentSession>& sessions, const std::map<AgentType, ProviderBudgetReport>& budgetReports,
    Date now) {
  Members shown;
  for (const AgentSession& session : sessions) {
    if (isShown(session, now)) shown.push_back(&session);
  }
  std::stable_sort(shown.begin(), shown.end(), [](const AgentSession* a, const AgentSession* b) {
    return rank(a->state) < rank(b->state);
  });
  std::vector<AgentFamilyPresentation> families;
  const auto agentType = [](const AgentSession& session) { return session.agentType; };
  for (const auto& [agent, members] : grouped<AgentType>(shown, agentType)) {
    families.push_back(familyOf(agent, members));
    const auto report = budgetReports.find(agent);
    if (report != budgetReports.end()) families.back().budgetReport = report->second;
  }
  return families;
}

std::string AgentFamilyPresentation::summarySubtitle() const {
  const std::string processes = std::to_string(processCount);
  if (aggregateState == AgentState::idle) {
    if (processCount == 0) return "Idle";
    return processes + (processCount == 1 ? " process" : " processes") + " detected · Idle";
  }
  const bool several = logicalSessionCount >= 2;
  const std::string text =
      several ? std::to_string(logicalSessionCount) + " sessions active" : "1 session active";
  const int expected = several ? logicalSessionCount : 1;
  return processCount <= expected ? text : text + " (" + processes + " processes)";
}

std::optional<std::string> AgentFamilyPresentation::budgetSummaryLine() const {
  if (!budgetReport) return std::nullopt;
  std::string line;
  const auto add = [&line](const std::string& part) { line += (line.empty() ? "" : " · ") + part; };
  if (const auto context = budgetReport->context.value())
    add(percent(context->percentageRemaining) + " context left");
  if (const auto quota = budgetReport->quota.value())
    add(percent(quota->percentageRemaining) + " quota left");
  if (const auto& cost = budgetReport->cost)
    add(atLeastInWords(dollars(cost->amountUSD), cost->unpricedTurnCount));
  return line.empty() ? std::nullopt : std::optional(line);
}

std::optional<LowBudgetAlert> AgentFamilyPresentation::lowBudgetAlert() const {
  return budgetReport ? budgetReport->lowBudgetAlert : std::nullopt;
}

VIGILO_RECORD_CODING(AgentHostPresentation);
VIGILO_RECORD_CODING(AgentFamilyPresentation);

}  // namespace vigilo
