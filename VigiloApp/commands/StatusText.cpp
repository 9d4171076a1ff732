#include "VigiloApp/commands/StatusText.h"

#include <algorithm>
#include <cstdlib>

#include "VigiloApp/commands/DurationText.h"
#include "VigiloApp/commands/HoldText.h"
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

// How the hold stands, up to its reason.
std::string holdWords(const HoldInForce& force) {
  switch (force.state) {
    case HoldState::notYet:
      return "Vigilo is about to hold this machine awake: ";
    case HoldState::partlyHeld:
      return "Vigilo holds this machine awake, but " + missingText(force) + ". It holds for: ";
    case HoldState::notHeld:
      return "Vigilo cannot hold this machine awake: " + missingText(force) + ". It should, for: ";
    default:
      return "Vigilo holds this machine awake: ";
  }
}

std::string headline(const StatusReport& report, Date now) {
  const WakeDecision& decision = report.currentDecision;
  if (const auto* hold = decision.hold()) {
    std::string text = holdWords(inForceOf(report)) + hold->reason;
    if (hold->activeAgentCount > 0) text += " (" + agents(hold->activeAgentCount) + ")";
    if (report.protectionStartedAt) {
      text += ", since " + localMoment(*report.protectionStartedAt, now) + " (" +
              durationText(report.elapsedProtectionSeconds) + ")";
    }
    return text + ".\n";
  }
  if (const auto* blocked = decision.blocked()) {
    return "Vigilo lets this machine sleep on purpose: " + std::string(rawValue(blocked->block)) + ".\n";
  }
  return "Vigilo holds nothing: " + decision.release()->reason + ".\n";
}

std::string endOfBlock(const StatusReport& report, SafetyBlock block, Date now) {
  const auto& settings = report.settings;
  switch (block) {
    case SafetyBlock::masterDisabled:
      return "`vigilo enable` turns protection on";
    case SafetyBlock::paused:
      return report.pauseUntil ? "the pause ends at " + localMoment(*report.pauseUntil, now) +
                                     "; `vigilo resume` ends it now"
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
      break;
  }
  return "protection returns after the sleep";
}

// Everything that would end the hold.
std::string endOfHold(const StatusReport& report, const WakeDecision::Hold& hold) {
  const auto& settings = report.settings;
  std::string text;
  if (settings.manualHoldEnabled)
    text = hold.activeAgentCount > 0 ? "`vigilo hold off`, once no agent works" : "`vigilo hold off`";
  else if (const auto seconds = debounceSeconds(hold))
    text = "in " + durationText(*seconds) + ", unless an agent works again before";
  else
    text = number(settings.releaseDelaySeconds) + " s after the last agent stops, or has been silent for " +
           durationText(PolicyConfiguration{}.staleSessionTTLSeconds);
  if (settings.onlyOnAC)
    text += "; without AC";
  else if (report.powerSource.batteryPercent || !report.powerSource.isOnAC)
    text += "; on battery at " + std::to_string(settings.batteryFloorPercent) + " %";
  return text + "; when critically hot; `vigilo pause` or `disable`";
}

std::string endText(const StatusReport& report, Date now) {
  if (const auto* blocked = report.currentDecision.blocked()) return endOfBlock(report, blocked->block, now);
  if (const auto* hold = report.currentDecision.hold()) return endOfHold(report, *hold);
  return "an agent that starts to work, or `vigilo hold on`, takes a hold";
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
  std::string text = headline(report, now);
  text += row("idle sleep", idleHoldText(inForceOf(report)));
  text += row("deep sleep", deepHoldText(report, now));
  text += row(report.currentDecision.isHolding() ? "ends" : "next", endText(report, now));
  text += row("power", powerText(report.powerSource));
  text += row("lid", report.isLidClosed ? "closed" : "open");
  text += row("thermal", std::string(rawValue(report.thermalState)));
  text += row("shortcut", shortcutText(report.shortcut));
  for (const auto& problem : report.settingsProblems.value_or(std::vector<std::string>{}))
    text += row("settings", "in the file: " + printable(problem));
  return text + sessionsText(report, now);
}

std::string statusSummary(const StatusReport& report, Date now) {
  return headline(report, now) +
         row(report.currentDecision.isHolding() ? "ends" : "next", endText(report, now));
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
