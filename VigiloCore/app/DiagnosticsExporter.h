#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/DiagnosticsReport.h"
#include "platform/SystemReport.h"
#include "platform/ThermalState.h"
#include "policy/WakeDecision.h"
#include "support/Date.h"

namespace vigilo {

// Builds the diagnostics report and turns it into JSON. No state, so any thread may call; `system` must
// outlive it.
class DiagnosticsExporter {
 public:
  explicit DiagnosticsExporter(SystemReport& system, Clock clock = Date::now)
      : system_(system), clock_(std::move(clock)) {}

  // The instance that `main` installed, or null; asking makes nothing.
  static DiagnosticsExporter* shared();
  static void installShared(DiagnosticsExporter* exporter);

  // Blocks while the system is asked for everybody's assertions: a few milliseconds, three seconds at most.
  DiagnosticsReport generateReport(const WakeDecision& currentDecision,
                                   const PowerSourceSnapshot& powerSource, SystemThermalState thermalState,
                                   std::vector<AgentSession> sessions,
                                   std::optional<DeepSleepStatus> deepHelperStatus) const;
  // Sorted keys, indented, dates in ISO 8601; "{}" when it cannot be encoded.
  std::string exportJSON(const DiagnosticsReport& report) const;

 private:
  SystemReport& system_;
  const Clock clock_;
};

}  // namespace vigilo
