#include "VigiloApp/host/HostControl.h"

#include <algorithm>
#include <limits>

#include "VigiloApp/commands/LoginCommands.h"
#include "VigiloApp/commands/SettingsCommands.h"
#include "VigiloApp/host/UsageAnswers.h"

namespace vigilo {

void HostControl::handle(const ControlRequest& request, const ControlServer::Respond& respond) {
  switch (request.command) {
    case ControlCommand::status:
    case ControlCommand::follow:
      return answerStatus(respond);
    case ControlCommand::budgets:
      return answerBudgets(respond);
    case ControlCommand::usageReset:
      return resetUsage(respond);
    case ControlCommand::usageSummary:
    case ControlCommand::usageSessions:
    case ControlCommand::usageHours:
      return parts_.usage.ask(
          [request, respond](UsageStore& store) { respond(answerFromStore(request, store)); });
    case ControlCommand::usageExport:
      return answerUsageExport(request, respond);
    case ControlCommand::diagnostics:
      return answerDiagnostics(request, respond);
    case ControlCommand::loginStatus: {
      ControlResponse response;
      response.loginItem = loginItemReport(parts_.settings, parts_.login);
      return respond(std::move(response));
    }
    case ControlCommand::recentLog:
      return answerRecentLog(request, respond);
    default:
      break;
  }
  ControlResponse response = carryOut(request, parts_.settings, parts_.defaults, parts_.login);
  if (response.exitCode == exitBadSettingsFile) {
    response.message = response.message.value_or("") + "\nThe change is in force until the host ends.";
  }
  respond(std::move(response));
}

void HostControl::answerStatus(const ControlServer::Respond& respond) {
  parts_.mainQueue.async([&status = parts_.status, respond] {
    status.fresh([respond](StatusReport report) {
      ControlResponse response;
      response.status = std::move(report);
      respond(std::move(response));
    });
  });
}

void HostControl::answerBudgets(const ControlServer::Respond& respond) {
  parts_.mainQueue.async([&usage = parts_.usage, respond] {
    ControlResponse response;
    response.budgets.emplace();
    for (const auto& [agent, report] : usage.latestBudgetReports.get()) response.budgets->push_back(report);
    respond(std::move(response));
  });
}

void HostControl::answerDiagnostics(const ControlRequest& request, const ControlServer::Respond& respond) {
  if (request.key) return answerLaterPage(request, &ControlResponse::diagnostics, respond);
  // With what the helper and the lid say now.
  parts_.mainQueue.async([this, respond] {
    parts_.status.fresh([this, respond](const StatusReport&) {
      parts_.coordinator.exportDiagnosticsJSON([this, respond](std::string json) {
        answerFirstPage(std::move(json), &ControlResponse::diagnostics, respond);
      });
    });
  });
}

void HostControl::answerUsageExport(const ControlRequest& request, const ControlServer::Respond& respond) {
  if (request.key) return answerLaterPage(request, &ControlResponse::usageExport, respond);
  parts_.usage.exportUsageJSON([this, respond](std::string json) {
    answerFirstPage(std::move(json), &ControlResponse::usageExport, respond);
  });
}

void HostControl::answerFirstPage(std::string report, PageField field,
                                  const ControlServer::Respond& respond) {
  parts_.queue.async([this, field, respond, report = std::move(report)]() mutable {
    ControlResponse first;
    first.*field = pages_.begin(std::move(report));
    respond(std::move(first));
  });
}

void HostControl::answerLaterPage(const ControlRequest& request, PageField field,
                                  const ControlServer::Respond& respond) {
  ControlResponse later;
  later.*field = pages_.page(*request.key, request.offset.value_or(0));
  if (!(later.*field)) {
    later.exitCode = exitUnavailable;
    later.message = "the report is not kept any more: ask for a new one";
  }
  respond(std::move(later));
}

void HostControl::answerRecentLog(const ControlRequest& request, const ControlServer::Respond& respond) {
  ControlResponse response;
  constexpr std::int64_t all = std::numeric_limits<std::int64_t>::max();
  const auto limit = std::max<std::int64_t>(request.limit.value_or(all), 0);
  response.recentLog = parts_.recentLog.newest(static_cast<std::size_t>(limit));
  respond(std::move(response));
}

void HostControl::resetUsage(const ControlServer::Respond& respond) {
  parts_.usage.resetUsageData([respond] { respond(ControlResponse{}); });
}

}  // namespace vigilo
