#include "VigiloApp/HostControl.h"

#include <algorithm>

#include "VigiloApp/SettingsCommands.h"
#include "VigiloApp/UsageAnswers.h"

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
      return usage_.ask([request, respond](UsageStore& store) { respond(answerFromStore(request, store)); });
    case ControlCommand::recentLog:
      return answerRecentLog(request, respond);
    default:
      break;
  }
  ControlResponse response = carryOut(request, settings_, defaults_);
  if (response.exitCode == exitBadSettingsFile) {
    response.message = response.message.value_or("") + "\nThe change is in force until the host ends.";
  }
  respond(std::move(response));
}

void HostControl::answerStatus(const ControlServer::Respond& respond) {
  mainQueue_.async([&status = status_, respond] {
    status.fresh([respond](StatusReport report) {
      ControlResponse response;
      response.status = std::move(report);
      respond(std::move(response));
    });
  });
}

void HostControl::answerBudgets(const ControlServer::Respond& respond) {
  mainQueue_.async([&usage = usage_, respond] {
    ControlResponse response;
    response.budgets.emplace();
    for (const auto& [agent, report] : usage.latestBudgetReports.get()) response.budgets->push_back(report);
    respond(std::move(response));
  });
}

void HostControl::answerRecentLog(const ControlRequest& request, const ControlServer::Respond& respond) {
  ControlResponse response;
  const auto limit = std::max<std::int64_t>(request.limit.value_or(RecentLog::mostEntries), 0);
  response.recentLog = recentLog_.newest(static_cast<std::size_t>(limit));
  respond(std::move(response));
}

void HostControl::resetUsage(const ControlServer::Respond& respond) {
  usage_.resetUsageData([respond] { respond(ControlResponse{}); });
}

}  // namespace vigilo
