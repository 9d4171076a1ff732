#include "VigiloApp/commands/AgentsReport.h"

#include <algorithm>

#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/commands/TextTable.h"
#include "support/RecordCoding.h"

namespace vigilo {

template std::string encodeRecord(const std::vector<AgentReport>&, CoderOptions);

namespace {

std::string hooksText(const AgentReport& report, Date now) {
  if (report.status.integrationType == IntegrationType::process) return "watched as a process";
  if (!report.hostRuns) return "no host runs";
  if (!report.lastHookReport) return "nothing yet";
  const auto& last = *report.lastHookReport;
  return std::string(rawValue(last.state)) + ", " + durationText(std::max(0.0, now - last.receivedAt)) +
         " ago";
}

std::string versionText(const IntegrationStatus& status) {
  const bool isAsked = status.isInstalled && status.integrationType != IntegrationType::process;
  if (!status.agentVersion) return isAsked ? "unknown" : "";
  return printable(status.agentVersion->substr(0, status.agentVersion->find('\n')));
}

}  // namespace

std::map<AgentType, HookReport> newestHookReports(const std::vector<AgentSession>& sessions) {
  std::map<AgentType, HookReport> newest;
  for (const AgentSession& session : sessions) {
    if (session.id.starts_with("proc-")) continue;
    const auto known = newest.find(session.agentType);
    if (known != newest.end() && known->second.receivedAt >= session.lastEventAt) continue;
    newest[session.agentType] = {session.state, session.lastEventAt, session.id, session.cwd};
  }
  return newest;
}

std::optional<std::string> hookFault(const std::vector<ConfigurationFinding>& findings) {
  for (const auto& finding : findings) {
    if (finding.fault) return finding.path + ": " + *finding.fault;
  }
  return std::nullopt;
}

std::optional<std::string> configurationFault(const std::vector<ConfigurationFinding>& findings) {
  for (const auto& finding : findings) {
    if (finding.problem) return finding.path + " cannot be read: " + *finding.problem;
  }
  if (auto fault = hookFault(findings)) return fault;
  const bool isWhole = std::any_of(findings.begin(), findings.end(),
                                   [](const auto& each) { return each.mentionsRelay && !each.caveat; });
  if (isWhole) return std::nullopt;
  for (const auto& finding : findings) {
    if (finding.caveat) return finding.path + ": " + *finding.caveat;
  }
  return std::nullopt;
}

std::optional<std::string> nextStep(const AgentReport& report) {
  const IntegrationStatus& status = report.status;
  const std::string command = "`vigilo setup " + std::string(rawValue(report.agent)) + "`";
  if (!status.isInstalled || status.integrationType == IntegrationType::process) return std::nullopt;
  if (const auto fault = configurationFault(report.configurations)) return *fault + "; see " + command;
  if (!status.isIntegrationActive) return command + " shows how to set it up";
  if (report.lastHookReport) return std::nullopt;
  if (!report.hostRuns) return "start the host with `vigilo run`";
  return command.substr(0, command.size() - 1) + " --check` waits for an event";
}

std::string agentsText(const std::vector<AgentReport>& reports, Date now, std::size_t width) {
  TextTable table(
      {{"agent"}, {"installed"}, {"version", false, true}, {"integration", false, true}, {"last event"}});
  std::string steps;
  for (const AgentReport& report : reports) {
    table.add({report.displayName, report.status.isInstalled ? "yes" : "no", versionText(report.status),
               printable(report.status.statusMessage),
               report.status.isInstalled ? hooksText(report, now) : ""});
    if (report.nextStep) steps += "  " + report.displayName + ": " + printable(*report.nextStep) + "\n";
  }
  return table.text(width) + (steps.empty() ? "" : "\nTo do:\n" + steps);
}

}  // namespace vigilo
