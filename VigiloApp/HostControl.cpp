#include "VigiloApp/HostControl.h"

#include "VigiloApp/LoginCommands.h"
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
      return usage_.ask([request, respond](UsageStore& store) { respond(answerFromStore(request, store)); });
    case ControlCommand::diagnostics:
      return answerDiagnostics(request, respond);
    case ControlCommand::loginStatus: {
      ControlResponse response;
      response.loginItem = loginItemReport(settings_, login_);
      return respond(std::move(response));
    }
    default:
      break;
  }
  ControlResponse response = carryOut(request, settings_, defaults_, login_);
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

void HostControl::answerDiagnostics(const ControlRequest& request, const ControlServer::Respond& respond) {
  ControlResponse response;
  if (request.key) {
    response.diagnostics = diagnostics_.page(*request.key, request.offset.value_or(0));
    if (!response.diagnostics) {
      response.exitCode = exitUnavailable;
      response.message = "the report is not kept any more: ask for a new one";
    }
    return respond(std::move(response));
  }
  // With what the helper and the lid say now.
  mainQueue_.async([this, respond] {
    status_.fresh([this, respond](const StatusReport&) {
      coordinator_.exportDiagnosticsJSON([this, respond](std::string json) {
        queue_.async([this, respond, json = std::move(json)]() mutable {
          ControlResponse first;
          first.diagnostics = diagnostics_.begin(std::move(json));
          respond(std::move(first));
        });
      });
    });
  });
}

void HostControl::resetUsage(const ControlServer::Respond& respond) {
  usage_.resetUsageData([respond] { respond(ControlResponse{}); });
}

}  // namespace vigilo
