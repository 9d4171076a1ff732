#include "VigiloApp/commands/DiagnosticsCommand.h"

#include "VigiloApp/commands/ExportFile.h"
#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/commands/HelperCommands.h"
#include "VigiloApp/control/ControlClient.h"
#include "app/DiagnosticsExporter.h"
#include "policy/BatteryMonitor.h"
#include "policy/ThermalMonitor.h"
#include "support/AsioQueue.h"

namespace vigilo {
namespace {

// What was to be had of the host's report, and what went wrong with it.
struct Fetched {
  std::optional<std::string> text;
  int exitCode = exitOk;
  std::string problem;  // for people, when there is no text
};

Fetched failure(const std::optional<ControlResponse>& response) {
  if (!response) return {std::nullopt, exitNoHost, "no host runs"};
  return {std::nullopt, response->exitCode == exitOk ? exitUnavailable : response->exitCode,
          response->message.value_or("the running host sent no report")};
}

// Piece by piece: a host with many sessions has more to tell than fits one message.
Fetched fetch(const ControlClient& client) {
  std::string text;
  ControlRequest request{.command = ControlCommand::diagnostics};
  for (;;) {
    const auto response = client.request(request);
    if (!response || !response->diagnostics) return failure(response);
    const DiagnosticsPage& page = *response->diagnostics;
    text += page.text;
    if (page.remaining <= 0) return {std::move(text), exitOk, {}};
    if (page.text.empty()) return {std::nullopt, exitUnavailable, "the running host's report has a gap"};
    request.key = page.id;
    request.offset = static_cast<std::int64_t>(text.size());
  }
}

// The machine as this command sees it by itself.
std::string reportWithoutHost(const Directories& directories, const std::string& problem) {
  const auto queue = AsioQueue::mainQueue();  // nothing is observed: it never runs
  const auto power = makePowerSourceProvider();
  const auto thermal = makeThermalStateProvider();
  const auto system = makeSystemReport();
  const auto helper = askHelper(directories, HelperCommand::status);
  const DiagnosticsExporter exporter(*system);
  const auto report = exporter.generateReport(WakeDecision::Release{problem},
                                              BatteryMonitor(*power, *queue, Date::now).queryPowerSource(),
                                              fromProcessInfoThermalState(thermal->thermalState()), {},
                                              helper ? helper->response.status : std::nullopt);
  return exporter.exportJSON(report);
}

}  // namespace

int diagnosticsCommand(const Directories& directories, const std::optional<std::string>& file) {
  Fetched fetched = fetch(ControlClient(directories.controlSocket()));
  if (!fetched.text) {
    note(fetched.problem + ": the report tells what can be known without.");
    fetched.text = reportWithoutHost(directories, fetched.problem);
  }
  note("the report names the folders in which agents work: read it before you hand it on.");
  const int written = writeExport(directories, file, *fetched.text + "\n");
  return written != exitOk ? written : fetched.exitCode;
}

}  // namespace vigilo
