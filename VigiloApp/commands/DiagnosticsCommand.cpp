#include "VigiloApp/commands/DiagnosticsCommand.h"

#include "VigiloApp/commands/ExportFile.h"
#include "VigiloApp/commands/Failure.h"
#include "VigiloApp/commands/HelperCommands.h"
#include "VigiloApp/control/FetchReport.h"
#include "app/DiagnosticsExporter.h"
#include "policy/BatteryMonitor.h"
#include "policy/ThermalMonitor.h"
#include "support/AsioQueue.h"

namespace vigilo {
namespace {

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
  FetchedReport fetched = fetchReport(ControlClient(directories.controlSocket()), ControlCommand::diagnostics,
                                      &ControlResponse::diagnostics);
  if (!fetched.text) {
    note(fetched.problem + ": the report tells what can be known without.");
    fetched.text = reportWithoutHost(directories, fetched.problem);
  }
  note("the report names the folders in which agents work: read it before you hand it on.");
  const int written = writeExport(directories, file, *fetched.text + "\n");
  return written != exitOk ? written : fetched.exitCode;
}

}  // namespace vigilo
