#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "agents/AgentModel.h"
#include "app/AgentFamilyPresentation.h"
#include "app/HoldInForce.h"
#include "app/VigiloVisualState.h"
#include "helper/HelperProtocol.h"
#include "platform/PowerSource.h"
#include "platform/ThermalState.h"
#include "policy/WakeDecision.h"
#include "support/RecordFields.h"
#include "usage/Budgets.h"
#include "usage/UsageRecords.h"

namespace vigilo {

// The settings as they are in force, for the status: what the file says out of range counts as the nearest
// value.
struct SettingsReport {
  bool masterEnabled = true;
  bool manualHoldEnabled = false;
  double releaseDelaySeconds = 30;
  int batteryFloorPercent = 15;
  bool onlyOnAC = false;
  bool deepLidProtectionEnabled = true;
  bool preventDisplaySleep = false;
  bool launchAtLogin = false;
  bool notificationsEnabled = true;
  bool soundEnabled = true;
  bool hasCompletedOnboarding = false;

  bool operator==(const SettingsReport&) const = default;
  static constexpr auto fields() {
    using S = SettingsReport;
    return std::tuple{field("masterEnabled", &S::masterEnabled),
                      field("manualHoldEnabled", &S::manualHoldEnabled),
                      field("releaseDelaySeconds", &S::releaseDelaySeconds),
                      field("batteryFloorPercent", &S::batteryFloorPercent),
                      field("onlyOnAC", &S::onlyOnAC),
                      field("deepLidProtectionEnabled", &S::deepLidProtectionEnabled),
                      field("preventDisplaySleep", &S::preventDisplaySleep),
                      field("launchAtLogin", &S::launchAtLogin),
                      field("notificationsEnabled", &S::notificationsEnabled),
                      field("soundEnabled", &S::soundEnabled),
                      field("hasCompletedOnboarding", &S::hasCompletedOnboarding)};
  }
};

// The global shortcut, for the status.
struct ShortcutReport {
  bool isRegistered = false;
  std::string description;  // how it is watched for, or why not

  bool operator==(const ShortcutReport&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("isRegistered", &ShortcutReport::isRegistered),
                      field("description", &ShortcutReport::description)};
  }
};

// What `vigilo status` tells: one consistent picture of the running host.
struct StatusReport {
  WakeDecision currentDecision;
  std::string statusDescription;
  std::optional<Date> protectionStartedAt;  // absent when not protecting
  double elapsedProtectionSeconds = 0;
  std::vector<AgentSession> activeSessionsList;  // newest first
  // How many sessions were left out so that the report fits a control message; absent when none.
  std::optional<std::int64_t> omittedSessions;
  // Absent on the wire, so that each session travels once: whoever receives a report builds them.
  std::optional<std::vector<AgentFamilyPresentation>> agentFamilies;
  VigiloVisualState dominantVisualState{};
  std::optional<DeepSleepStatus> helperStatus;  // absent when unknown
  bool idleAssertionActive = false;
  std::optional<HoldInForce> inForce;  // absent from a host of an earlier version
  PowerSourceSnapshot powerSource;
  SystemThermalState thermalState{};
  bool isLidClosed = false;
  std::optional<Date> pauseUntil;  // absent when not paused
  SettingsReport settings;
  // What in the settings file is not as it should be, a line each; absent where nothing is.
  std::optional<std::vector<std::string>> settingsProblems;
  ShortcutReport shortcut;
  UsageSummary todaySummary;
  std::map<AgentType, ProviderBudgetReport> latestBudgetReports;
  std::map<AgentType, LowBudgetAlert> lowBudgetAlerts;

  void buildFamilies(Date now) {
    agentFamilies = AgentFamilyPresentation::buildFamilies(activeSessionsList, latestBudgetReports, now);
  }

  bool operator==(const StatusReport&) const = default;
  static constexpr auto fields() {
    using S = StatusReport;
    return std::tuple{field("currentDecision", &S::currentDecision),
                      field("statusDescription", &S::statusDescription),
                      field("protectionStartedAt", &S::protectionStartedAt),
                      field("elapsedProtectionSeconds", &S::elapsedProtectionSeconds),
                      field("activeSessionsList", &S::activeSessionsList),
                      field("omittedSessions", &S::omittedSessions),
                      field("agentFamilies", &S::agentFamilies),
                      field("dominantVisualState", &S::dominantVisualState),
                      field("helperStatus", &S::helperStatus),
                      field("idleAssertionActive", &S::idleAssertionActive),
                      field("inForce", &S::inForce),
                      field("powerSource", &S::powerSource),
                      field("thermalState", &S::thermalState),
                      field("isLidClosed", &S::isLidClosed),
                      field("pauseUntil", &S::pauseUntil),
                      field("settings", &S::settings),
                      field("settingsProblems", &S::settingsProblems),
                      field("shortcut", &S::shortcut),
                      field("todaySummary", &S::todaySummary),
                      field("latestBudgetReports", &S::latestBudgetReports),
                      field("lowBudgetAlerts", &S::lowBudgetAlerts)};
  }
};

}  // namespace vigilo
