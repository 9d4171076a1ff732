#pragma once

#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "agents/AgentAdapter.h"
#include "agents/AgentModel.h"
#include "support/Date.h"
#include "support/RecordFields.h"

namespace vigilo {

// What a hook has told the running host last. Process sessions say nothing about hooks.
struct HookReport {
  AgentState state{};
  Date receivedAt;
  std::string sessionId;
  std::optional<std::string> cwd;

  static constexpr auto fields() {
    using H = HookReport;
    return std::tuple{field("state", &H::state), field("receivedAt", &H::receivedAt),
                      field("sessionId", &H::sessionId), field("cwd", &H::cwd)};
  }
};

// Each agent's newest report among the sessions of a host.
std::map<AgentType, HookReport> newestHookReports(const std::vector<AgentSession>& sessions);

// One row of `vigilo agents`.
struct AgentReport {
  AgentType agent{};
  std::string displayName;
  IntegrationStatus status;
  std::vector<ConfigurationFinding> configurations;
  bool hostRuns = false;
  std::optional<HookReport> lastHookReport;  // absent as well where no host runs
  std::optional<std::string> nextStep;       // absent where nothing is to be done

  static constexpr auto fields() {
    using R = AgentReport;
    return std::tuple{field("agent", &R::agent),       field("displayName", &R::displayName),
                      field("status", &R::status),     field("configurations", &R::configurations),
                      field("hostRuns", &R::hostRuns), field("lastHookReport", &R::lastHookReport),
                      field("nextStep", &R::nextStep)};
  }
};

// Which hooks cannot tell about the agent whatever it does, and why; absent where there are none.
std::optional<std::string> hookFault(const std::vector<ConfigurationFinding>& findings);
// The same, or what else is wrong with an agent's configuration or keeps it from being run.
std::optional<std::string> configurationFault(const std::vector<ConfigurationFinding>& findings);
// What the user is to do next, from all the rest of the row.
std::optional<std::string> nextStep(const AgentReport& report);

// The rows as a table, and below it what to do for whom.
std::string agentsText(const std::vector<AgentReport>& reports, Date now, std::size_t width);

}  // namespace vigilo
