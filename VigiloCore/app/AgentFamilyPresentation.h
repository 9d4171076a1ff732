#pragma once

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "agents/AgentModel.h"
#include "support/Date.h"
#include "support/RecordFields.h"
#include "usage/Budgets.h"
#include "usage/LowBudgetAlert.h"

// What the user is shown of each kind of agent: its sessions together, by the application around them, and
// its budgets. Plain values, compared field by field; thread-safe.
namespace vigilo {

// The sessions of one family that run inside one application: a terminal, an editor.
struct AgentHostPresentation {
  std::string id;           // "claude/Terminal"
  std::string hostAppName;  // "Other" where nobody knows
  std::vector<AgentSession> sessions;

  bool operator==(const AgentHostPresentation&) const = default;
  static constexpr auto fields() {
    using H = AgentHostPresentation;
    return std::tuple{field("id", &H::id), field("hostAppName", &H::hostAppName),
                      field("sessions", &H::sessions)};
  }
};

// A session is shown while it is active, and for an hour after its last event. It is a logical session when
// its agent's own hooks or plug-in reported it; where no hook speaks for an agent, its processes count as the
// logical sessions.
struct AgentFamilyPresentation {
  std::string id;  // the agent's raw value
  std::string displayName;
  AgentType agentType{};
  AgentState aggregateState{};  // working, waiting, error, completed or idle, the first that any session has
  int sessionCount = 0;         // all that are shown
  int logicalSessionCount = 0;
  int workingSessionCount = 0;
  int waitingSessionCount = 0;
  int hostCount = 0;
  int processCount = 0;  // distinct process ids
  std::vector<AgentHostPresentation> hosts;
  std::vector<AgentSession> sessions;
  std::optional<ProviderBudgetReport> budgetReport;

  // "2 sessions active (3 processes)", "1 process detected · Idle".
  std::string summarySubtitle() const;
  // "62% context left · 91% quota left · $1.24", of these only what is known; absent when nothing is.
  std::optional<std::string> budgetSummaryLine() const;
  std::optional<LowBudgetAlert> lowBudgetAlert() const;

  // One family for each agent with sessions to show. Families, their hosts and their sessions stand with
  // working ones first, then waiting, then all others; families and hosts by their newest event, sessions in
  // the order of the list, which is kept wherever two are equal.
  static std::vector<AgentFamilyPresentation> buildFamilies(
      const std::vector<AgentSession>& sessions,
      const std::map<AgentType, ProviderBudgetReport>& budgetReports, Date now);

  bool operator==(const AgentFamilyPresentation&) const = default;
  static constexpr auto fields() {
    using F = AgentFamilyPresentation;
    return std::tuple{field("id", &F::id),
                      field("displayName", &F::displayName),
                      field("agentType", &F::agentType),
                      field("aggregateState", &F::aggregateState),
                      field("sessionCount", &F::sessionCount),
                      field("logicalSessionCount", &F::logicalSessionCount),
                      field("workingSessionCount", &F::workingSessionCount),
                      field("waitingSessionCount", &F::waitingSessionCount),
                      field("hostCount", &F::hostCount),
                      field("processCount", &F::processCount),
                      field("hosts", &F::hosts),
                      field("sessions", &F::sessions),
                      field("budgetReport", &F::budgetReport)};
  }
};

}  // namespace vigilo
