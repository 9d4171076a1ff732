#include "VigiloApp/commands/HelperCommands.h"

#include <cstdio>
#include <filesystem>

#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/commands/HelperReport.h"
#include "VigiloApp/commands/HoldText.h"
#include "VigiloApp/control/ControlClient.h"
#include "VigiloApp/host/InstanceLock.h"
#include "helper/HelperTransport.h"
#include "platform/HelperInstallation.h"
#include "support/RecordCoder.h"

namespace vigilo {
namespace {

// Only the host knows whether the hold is its own, and since when: the helper knows its lease.
void addHost(HelperReport& report, const Directories& directories) {
  const auto host = ControlClient(directories.controlSocket()).request({.command = ControlCommand::status});
  if (!host || !host->status) return;
  const auto& known = host->status->helperStatus;
  report.isOwnHold = inForceOf(*host->status).deep == DeepHold::held && known &&
                     known->activeLeaseId == report.status->activeLeaseId;
  if (report.isOwnHold) report.holdingSince = host->status->protectionStartedAt;
}

std::optional<pid_t> runningHost(const Directories& directories) {
  // To look leaves nothing behind where there never was a host.
  if (std::error_code error; !std::filesystem::exists(directories.instanceLock(), error)) return std::nullopt;
  const auto attempt = InstanceLock::tryTake(directories.instanceLock(), InstanceLock::Role::command);
  const bool runs = attempt.holder && attempt.holder->role == InstanceLock::Role::host;
  return runs ? std::optional(attempt.holder->pid) : std::nullopt;
}

std::optional<HelperResponse> askHelperAt(const std::string& socket, HelperCommand command) {
  const std::string request = encodeRecord(HelperRequest{command, std::nullopt, std::nullopt});
  std::optional<HelperResponse> result;
  SocketHelperTransport().exchange(socket, request,
                                   [&](HelperTransport::Outcome outcome, const std::string& reply) {
                                     if (outcome != HelperTransport::Outcome::answered) return;
                                     if (auto response = decodeRecord<HelperResponse>(reply))
                                       result = *response;
                                   });
  return result;
}

HelperReport reportOn(const Directories& directories) {
  const HelperInstallation installation = findHelperInstallation();
  HelperReport report;
  report.unitFile = installation.unitFile;
  report.isUnitEnabled = installation.isUnitEnabled;
  report.program = installation.program;
  if (const auto answer = askHelper(directories, HelperCommand::status)) {
    report.isRunning = true;
    report.socket = answer->socket;
    report.isSystemHelper = answer->isSystemHelper;
    report.isBesideHost = answer->isBesideHost;
    report.status = answer->response.status;
  }
  report.isInstalled = report.isRunning || report.unitFile || report.program;
  if (report.status && report.status->isDeepHoldActive) addHost(report, directories);
  report.advice = helperAdvice(report);
  return report;
}

}  // namespace

std::optional<HelperAnswer> askHelper(const Directories& directories, HelperCommand command) {
  for (const std::string& path : {std::string(rootHelperSocket), directories.helperSocket()}) {
    if (auto response = askHelperAt(path, command))
      return HelperAnswer{path, path == rootHelperSocket, false, *std::move(response)};
  }
  const auto host = runningHost(directories);
  if (!host) return std::nullopt;
  const std::string path = rootHelperSocketOf(*host);
  auto response = askHelperAt(path, command);
  if (!response) return std::nullopt;
  return HelperAnswer{path, true, true, *std::move(response)};
}

int helperStatusCommand(const Directories& directories, bool json) {
  const HelperReport report = reportOn(directories);
  const std::string text =
      json ? encodeRecord(report, exportForm) + "\n" : helperReportText(report, Date::now());
  std::fputs(text.c_str(), stdout);
  return report.isRunning ? exitOk : exitNoHost;
}

int helperUninstallCommand(const Directories& directories) {
  const auto answer = askHelper(directories, HelperCommand::uninstall);
  if (!answer) return fail(exitNoHost, "no helper answers");
  if (!answer->response.ok) {
    return fail(exitFailure, answer->response.error.value_or(
                                 "the helper keeps its hold: another user has taken it, or giving it back "
                                 "failed. The helper's log says which."));
  }
  if (runningHost(directories)) {
    return fail(
        exitFailure,
        "the hold is given back, but your host runs and takes it again within seconds while agents work: "
        "end the host first, and with `vigilo login off` its next start");
  }
  return exitOk;
}

}  // namespace vigilo
