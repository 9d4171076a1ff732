#include "VigiloApp/commands/AgentsCommand.h"

#include <chrono>
#include <cstdio>
#include <map>
#include <utility>

#include "VigiloApp/commands/AgentsReport.h"
#include "VigiloApp/commands/TextTable.h"
#include "VigiloApp/control/ControlClient.h"
#include "platform/RunningApplications.h"
#include "support/RecordCoder.h"

namespace vigilo {
namespace {

// As long as the agents' executables have.
constexpr std::chrono::milliseconds hostLimit = AgentSurroundings::runLimit;

// Names and identifiers of the running applications.
std::vector<std::string> applicationNames() {
  std::vector<std::string> names;
  for (auto& application : makeRunningApplications()->list()) {
    names.push_back(std::move(application.localizedName));
    names.push_back(std::move(application.bundleIdentifier));
  }
  return names;
}

using Statuses = std::map<AgentType, IntegrationStatus>;

std::vector<AgentReport> reports(const AgentRegistry& registry, const Statuses& statuses,
                                 const std::optional<ControlResponse>& host) {
  const bool hasStatus = host && host->status;
  const auto heard =
      newestHookReports(hasStatus ? host->status->activeSessionsList : std::vector<AgentSession>{});
  std::vector<AgentReport> result;
  for (const auto& adapter : registry.allAdapters()) {
    AgentReport report{.agent = adapter->agentType(), .displayName = displayName(adapter->agentType())};
    report.status = statuses.at(report.agent);
    report.configurations = adapter->configurations();
    report.hostRuns = hasStatus;
    if (const auto last = heard.find(report.agent); last != heard.end()) report.lastHookReport = last->second;
    report.nextStep = nextStep(report);
    result.push_back(std::move(report));
  }
  return result;
}

}  // namespace

const AgentRegistry& installAgentRegistry(const Directories& directories) {
  static AgentRegistry registry(
      AgentSurroundings::ofThisMachine(directories, [names = applicationNames()] { return names; }));
  registry.registerDefaultAdapters();
  AgentRegistry::installShared(&registry);
  return registry;
}

int agentsCommand(const Directories& directories, bool json) {
  const AgentRegistry& registry = installAgentRegistry(directories);
  auto statuses = registry.detectAll();  // goes on while the host is asked
  const auto host =
      ControlClient(directories.controlSocket(), hostLimit).request({.command = ControlCommand::status});
  const auto rows = reports(registry, statuses.get(), host);
  std::fputs(
      (json ? encodeRecord(rows, exportForm) + "\n" : agentsText(rows, Date::now(), terminalWidth())).c_str(),
      stdout);
  return exitOk;
}

}  // namespace vigilo
