#include "app/DiagnosticsExporter.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>

#include "support/RecordCoding.h"

namespace vigilo {

VIGILO_RECORD_CODING(DiagnosticsReport);

namespace {

std::atomic<DiagnosticsExporter*> sharedExporter{nullptr};

}  // namespace

DiagnosticsExporter* DiagnosticsExporter::shared() {
  return sharedExporter;
}

void DiagnosticsExporter::installShared(DiagnosticsExporter* exporter) {
  sharedExporter = exporter;
}

DiagnosticsReport DiagnosticsExporter::generateReport(const WakeDecision& currentDecision,
                                                      const PowerSourceSnapshot& powerSource,
                                                      SystemThermalState thermalState,
                                                      std::vector<AgentSession> sessions,
                                                      std::optional<DeepSleepStatus> deepHelperStatus) const {
  DiagnosticsReport report;
  report.appName = "Vigilo";
  report.appVersion = VIGILO_VERSION;
  report.osVersion = system_.osVersion();
  report.architecture = VIGILO_ARCHITECTURE;
  report.systemAssertionsSummary = system_.assertionsSummary();
  report.timestamp = clock_();
  report.policyDecision = currentDecision.statusDescription();
  report.isHolding = currentDecision.isHolding();
  report.activeAgentCount = static_cast<int>(std::count_if(
      sessions.begin(), sessions.end(), [](const AgentSession& session) { return session.isWorking(); }));
  report.batteryStatus = powerSource;
  report.thermalState = std::string(rawValue(thermalState));
  report.deepHelperStatus = std::move(deepHelperStatus);
  report.sessions = std::move(sessions);
  return report;
}

std::string DiagnosticsExporter::exportJSON(const DiagnosticsReport& report) const {
  try {
    return encodeRecord(report, exportForm);
  } catch (const std::domain_error&) {
    return "{}";
  }
}

}  // namespace vigilo
