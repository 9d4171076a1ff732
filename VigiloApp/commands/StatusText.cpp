#include "VigiloApp/commands/StatusText.h"

#include <algorithm>
#include <cstdlib>

#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/commands/LocalTime.h"
#include "VigiloApp/commands/SessionCounts.h"
#include "VigiloApp/commands/TextTable.h"
#include "agents/ProcessSession.h"
#include "policy/PolicyConfiguration.h"

namespace vigilo {
namespace {

constexpr std::string_view debounceReason = "Release debounce (";

bool isDebounce(const WakeDecision::Hold& hold) {
  return hold.reason.starts_with(debounceReason);
}

int agentCount(const WakeDecision& decision) {
  return decision.isHolding() ? decision.hold()->activeAgentCount : 0;
}

std::string agents(int count) {
  return std::to_string(count) + (count == 1 ? " agent" : " agents");
}

std::string holdText(const WakeDecision::Hold& hold) {
  return hold.reason + (hold.activeAgentCount > 0 ? " (" + agents(hold.activeAgentCount) + ")" : "");
}

std::string row(const char* name, const std::string& text) {
  std::string line = "  ";
  line += name;
  line.append(std::max<std::size_t>(14, line.size() + 1) - line.size(), ' ');
  return line + text + "\n";
}

std::string number(double value) {
  std::string text = std::to_string(value);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

std::string headline(const StatusReport& report) {
  const WakeDecision& decision = report.currentDecision;
  if (const auto* hold = decision.hold()) {
    std::string text = "Vigilo holds this machine awake: " + hold->reason;
    if (hold->activeAgentCount > 0) text += " (" + agents(hold->activeAgentCount) + ")";
    if (report.protectionStartedAt) {
      text += ", since " + localTime(*report.protectionStartedAt) + " (" +
              durationText(report.elapsedProtectionSeconds) + ")";
    }
    return text + ".\n";
  }
  if (const auto* blocked = decision.blocked()) {
    return "Vigilo lets this machine sleep on purpose: " + std::string(rawValue(blocked->block)) + ".\n";
  }
  return "Vigilo holds nothing: " + decision.release()->reason + ".\n";
}

std::string deepHoldText(const StatusReport& report) {
  const auto* hold = report.currentDecision.hold();
  const auto& helper = report.helperStatus;
  if (hold == nullptr || !hold->requiresDeepHold) {
    return helper && helper->currentSystemSleepDisabled ? "sleep is off, but not by this host" : "not held";
  }
  if (!helper) return "asked for; the helper has not answered yet";
  if (const auto problem = deepHoldProblem(report.currentDecision, helper)) return *problem;
  std::string text = "held by the helper, also with the lid closed";
  if (helper->leaseExpiresAt)
    text += "; renewed while needed, lease until " + localTime(*helper->leaseExpiresAt);
  return text;
}

std::string endText(const StatusReport& report) {
  const auto& settings = report.settings;
  if (const auto* blocked = report.currentDecision.blocked()) {
    switch (blocked->block) {
      case SafetyBlock::masterDisabled:
        return "`vigilo enable` turns protection on";
      case SafetyBlock::paused:
        return report.pauseUntil
                   ? "the pause ends at " + localTime(*report.pauseUntil) + "; `vigilo resume` ends it now"
                   : "`vigilo resume` ends the pause";
      case SafetyBlock::batteryBelowFloor:
        return "protection returns on AC, or at " +
               std::to_string(settings.batteryFloorPercent + PolicyConfiguration{}.batteryHysteresisPercent) +
               " % charge";
      case SafetyBlock::acDisconnected:
        return "protection returns on AC (setting onlyOnAC)";
      case SafetyBlock::thermalCritical:
        return "protection returns when the machine has cooled down";
      case SafetyBlock::manualSleepRequested:
        return "protection returns after the sleep";
    }
  }
  const auto* hold = report.currentDecision.hold();
  if (hold == nullptr) return "an agent that starts to work, or `vigilo hold on`, takes a hold";
  std::string text;
  if (settings.manualHoldEnabled)
    text = "`vigilo hold off`";
  else if (isDebounce(*hold))
    text = "the release delay, unless an agent works again before";
  else
    text = number(settings.releaseDelaySeconds) + " s after the last agent stops";
  if (!report.powerSource.isOnAC) {
    text += settings.onlyOnAC ? "; or at once"
                              : "; or at " + std::to_string(settings.batteryFloorPercent) + " % battery";
  }
  return text + "; `vigilo pause` or `disable` at any time";
}

std::string sessionLine(const AgentSession& session, Date now) {
  std::string text = std::string(displayLabel(session.state)) + ", " +
                     durationText(std::max(0.0, now - session.lastEventAt)) + " ago";
  if (session.cwd) text += ", " + *session.cwd;
  if (isProcessSession(session)) text += ", process " + std::to_string(*session.pid);
  return "      " + printable(text) + "\n";
}

// What is over is in the family's count only.
std::string hostText(const AgentHostPresentation& host, Date now) {
  std::string text;
  for (const auto& session : host.sessions)
    if (!isOver(session)) text += sessionLine(session, now);
  return text.empty() ? text : "    " + printable(host.hostAppName) + "\n" + text;
}

std::string familyText(const AgentFamilyPresentation& family, Date now) {
  std::string text = "  " + family.displayName + ": " + countSessions(family.sessions).text();
  if (const auto budget = family.budgetSummaryLine()) text += "; " + *budget;
  text += "\n";
  if (const auto alert = family.lowBudgetAlert()) text += "    ! " + alert->message + "\n";
  for (const auto& host : family.hosts) text += hostText(host, now);
  return text;
}

std::string sessionsText(const StatusReport& report, Date now) {
  const SessionCounts counts = countSessions(report.activeSessionsList);
  const std::int64_t all = counts.all() + report.omittedSessions.value_or(0);
  std::string text = row("sessions", all == 0 ? counts.text() : std::to_string(all) + ": " + counts.text());
  const auto families =
      AgentFamilyPresentation::buildFamilies(report.activeSessionsList, report.latestBudgetReports, now);
  std::size_t recent = 0;
  for (const auto& family : families) {
    text += familyText(family, now);
    recent += family.sessions.size();
  }
  const std::size_t earlier = report.activeSessionsList.size() - recent;
  if (earlier > 0) text += "  and " + std::to_string(earlier) + " of which nothing was heard for an hour\n";
  if (report.omittedSessions) text += "  and " + std::to_string(*report.omittedSessions) + " older ones\n";
  return text;
}

}  // namespace

std::string powerText(const PowerSourceSnapshot& power) {
  std::string text = power.isOnAC ? "on AC" : "on battery";
  if (power.batteryPercent)
    text += ", " + std::to_string(*power.batteryPercent) + " %";
  else if (!power.isOnAC)
    text += ", charge unknown";
  if (power.isCharging) text += ", charging";
  if (power.timeRemainingMinutes) text += ", " + durationText(*power.timeRemainingMinutes * 60.0) + " left";
  if (power.isLowPowerMode) text += ", low-power mode";
  return text;
}

std::string shortcutText(const ShortcutReport& shortcut) {
  // The keys may be the desktop's own words.
  return printable(shortcut.isRegistered ? shortcut.description : "not available: " + shortcut.description);
}

std::string statusText(const StatusReport& report, Date now) {
  std::string text = headline(report);
  text += row("idle sleep", report.idleAssertionActive ? "held off" : "not held");
  text += row("deep sleep", deepHoldText(report));
  text += row(report.currentDecision.isHolding() ? "ends" : "next", endText(report));
  text += row("power", powerText(report.powerSource));
  text += row("lid", report.isLidClosed ? "closed" : "open");
  text += row("thermal", std::string(rawValue(report.thermalState)));
  text += row("shortcut", shortcutText(report.shortcut));
  for (const auto& problem : report.settingsProblems.value_or(std::vector<std::string>{}))
    text += row("settings", "in the file: " + printable(problem));
  return text + sessionsText(report, now);
}

std::string statusSummary(const StatusReport& report) {
  std::string text = headline(report);
  if (const auto problem = deepHoldProblem(report.currentDecision, report.helperStatus))
    text += row("deep sleep", *problem);
  return text + row(report.currentDecision.isHolding() ? "ends" : "next", endText(report));
}

std::string decisionLine(const WakeDecision& decision) {
  const auto* hold = decision.hold();
  if (hold == nullptr || !hold->requiresDeepHold) return briefDecisionLine(decision);
  return "holding, also with the lid closed: " + holdText(*hold);
}

std::string briefDecisionLine(const WakeDecision& decision) {
  if (const auto* hold = decision.hold()) return "holding: " + holdText(*hold);
  if (const auto* blocked = decision.blocked())
    return "sleep allowed on purpose: " + std::string(rawValue(blocked->block));
  return "sleep allowed: " + decision.release()->reason;
}

std::optional<std::string> deepHoldProblem(const WakeDecision& decision,
                                           const std::optional<DeepSleepStatus>& helper) {
  const auto* hold = decision.hold();
  if (hold == nullptr || !hold->requiresDeepHold || !helper) return std::nullopt;
  if (!helper->isHelperInstalled) return "not held: no helper runs, so a closed lid suspends";
  if (helper->isAskedForButNotInForce()) return "asked for, not in force: a closed lid suspends";
  if (!helper->isDeepHoldActive) return "not held: the helper gave no lease, so a closed lid suspends";
  return std::nullopt;
}

std::optional<double> debounceSeconds(const WakeDecision::Hold& hold) {
  if (!isDebounce(hold)) return std::nullopt;
  return std::strtod(hold.reason.c_str() + debounceReason.size(), nullptr);
}

bool sameButForTime(StatusReport before, StatusReport now) {
  if (isNews(before.currentDecision, now.currentDecision)) return false;
  if (agentCount(before.currentDecision) != agentCount(now.currentDecision)) return false;
  for (StatusReport* report : {&before, &now}) {
    report->currentDecision = {};
    report->statusDescription.clear();
    report->elapsedProtectionSeconds = 0;
    // A lease that is renewed is no news.
    if (report->helperStatus) report->helperStatus->leaseExpiresAt.reset();
    // A process that is still there is seen once a second.
    for (AgentSession& session : report->activeSessionsList) {
      if (isProcessSession(session)) session.lastEventAt = {};
    }
  }
  return before == now;
}

bool isNews(const WakeDecision& before, const WakeDecision& now) {
  const auto* was = before.hold();
  const auto* is = now.hold();
  if (was == nullptr || is == nullptr) return before != now;
  if (was->requiresDeepHold != is->requiresDeepHold) return true;
  return was->reason != is->reason && !(isDebounce(*was) && isDebounce(*is));
}

}  // namespace vigilo
