#include "app/DiagnosticsExporter.h"

#include <gtest/gtest.h>

#include <limits>

namespace vigilo {
namespace {

class FakeSystem final : public SystemReport {
 public:
  std::string osVersion() override { return "Test OS 1"; }
  std::string assertionsSummary() override { return "WHO WHAT\n"; }
};

class DiagnosticsExporterTest : public testing::Test {
 protected:
  FakeSystem system;
  const DiagnosticsExporter exporter{system, [] { return Date::fromUnix(1738324800); }};
};

TEST_F(DiagnosticsExporterTest, CountsTheActiveSessionsAndListsThemAll) {
  std::vector<AgentSession> sessions;
  for (const AgentState state :
       {AgentState::waiting, AgentState::idle, AgentState::completed, AgentState::error, AgentState::working,
        AgentState::stale, AgentState::unknown}) {
    sessions.push_back(AgentSession{.id = std::to_string(sessions.size()), .state = state});
  }
  const auto report = exporter.generateReport(WakeDecision::Hold{"Claude Code working", 2, true}, {},
                                              SystemThermalState::serious, sessions, DeepSleepStatus{});
  EXPECT_EQ(report.activeAgentCount, 2);
  EXPECT_EQ(report.sessions, sessions);
  EXPECT_TRUE(report.isHolding);
  EXPECT_EQ(report.policyDecision, "Active (2 working agents) — Claude Code working");
  EXPECT_EQ(report.thermalState, "serious");
  EXPECT_NE(exporter.exportJSON(report).find("\"deepHelperStatus\""), std::string::npos);
}

// The version and the architecture are the build's.
TEST_F(DiagnosticsExporterTest, IsReadableJsonWithSortedKeysAndWithoutWhatIsUnknown) {
  auto report = exporter.generateReport(WakeDecision::Blocked{SafetyBlock::paused},
                                        PowerSourceSnapshot{.batteryPercent = 57, .isOnAC = true},
                                        SystemThermalState::nominal, {}, std::nullopt);
  EXPECT_FALSE(report.appVersion.empty());
  EXPECT_FALSE(report.architecture.empty());
  report.appVersion = "1.2.3";
  report.architecture = "z80";
  EXPECT_EQ(exporter.exportJSON(report), R"({
  "activeAgentCount": 0,
  "appName": "Vigilo",
  "appVersion": "1.2.3",
  "architecture": "z80",
  "batteryStatus": {
    "batteryPercent": 57,
    "isCharging": false,
    "isLowPowerMode": false,
    "isOnAC": true
  },
  "isHolding": false,
  "osVersion": "Test OS 1",
  "policyDecision": "Safety blocked: Protection paused",
  "sessions": [],
  "systemAssertionsSummary": "WHO WHAT\n",
  "thermalState": "nominal",
  "timestamp": "2025-01-31T12:00:00Z"
})");
}

TEST_F(DiagnosticsExporterTest, WhatHasNoJsonFormIsAnEmptyObject) {
  DiagnosticsReport report;
  report.sessions = {AgentSession{.confidence = std::numeric_limits<double>::quiet_NaN()}};
  EXPECT_EQ(exporter.exportJSON(report), "{}");
}

}  // namespace
}  // namespace vigilo
