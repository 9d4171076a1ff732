#include "policy/WakePolicyEngine.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vigilo {
namespace {

constexpr auto agentTypes = RawValues<AgentType>::table;

bool isBelowBatteryFloor(const PolicyEvaluationContext& context) {
  const PowerSourceSnapshot& power = context.powerSource;
  if (!power.batteryPercent || power.isOnAC || power.isCharging) return false;
  const std::int64_t floor = context.config.batteryFloorPercent;
  if (!context.isCurrentlyBatteryBlocked) return *power.batteryPercent <= floor;
  return *power.batteryPercent < floor + context.config.batteryHysteresisPercent;
}

std::optional<SafetyBlock> safetyBlock(const PolicyEvaluationContext& context) {
  if (!context.config.masterEnabled) return SafetyBlock::masterDisabled;
  if (context.pauseUntil && context.now < *context.pauseUntil) return SafetyBlock::paused;
  if (context.thermalState == SystemThermalState::critical) return SafetyBlock::thermalCritical;
  if (context.config.onlyOnAC && !context.powerSource.isOnAC) return SafetyBlock::acDisconnected;
  if (isBelowBatteryFloor(context)) return SafetyBlock::batteryBelowFloor;
  return std::nullopt;
}

struct ActiveSessions {
  int count = 0;
  bool has[agentTypes.size()] = {};  // by agent type
};

ActiveSessions activeSessions(const PolicyEvaluationContext& context) {
  ActiveSessions active;
  if (context.sessions == nullptr) return active;
  for (const auto& [id, session] : *context.sessions) {
    if (!session.isWorking()) continue;
    // An age that is not a number never holds.
    if (!(context.now - session.lastEventAt <= context.config.staleSessionTTLSeconds)) continue;
    ++active.count;
    active.has[static_cast<std::size_t>(session.agentType)] = true;
  }
  return active;
}

std::string workingReason(const ActiveSessions& active) {
  std::vector<std::string_view> names;
  for (const auto& [type, raw] : agentTypes) {
    if (active.has[static_cast<std::size_t>(type)]) names.emplace_back(displayName(type));
  }
  std::sort(names.begin(), names.end());
  std::string reason;
  for (const auto name : names) reason.append(reason.empty() ? "" : ", ").append(name);
  return reason + " working";
}

// What is left of the debounce after the last agent stopped, in seconds; absent when it is over. A stop in
// the future has no debounce.
std::optional<double> remainingDebounce(const PolicyEvaluationContext& context) {
  if (!context.lastActiveAgentStoppedAt) return std::nullopt;
  const double elapsed = context.now - *context.lastActiveAgentStoppedAt;
  if (!(elapsed >= 0 && elapsed < context.config.releaseDebounceSeconds)) return std::nullopt;
  return context.config.releaseDebounceSeconds - elapsed;
}

std::string debounceReason(double remaining) {
  // The limit keeps an absurd setting inside the integers; it is far beyond any real one.
  const double seconds = std::min(std::ceil(remaining), 1e15);
  return "Release debounce (" + std::to_string(static_cast<std::int64_t>(seconds)) + "s)";
}

}  // namespace

WakeDecision WakePolicyEngine::evaluate(const PolicyEvaluationContext& context) const {
  if (const auto block = safetyBlock(context)) return WakeDecision::Blocked{*block};
  const ActiveSessions active = activeSessions(context);
  const auto hold = [&](std::string reason) {
    return WakeDecision::Hold{std::move(reason), active.count, context.config.deepLidProtectionEnabled};
  };
  if (context.config.manualHoldEnabled) return hold("Manual hold requested");
  if (active.count > 0) return hold(workingReason(active));
  if (const auto remaining = remainingDebounce(context)) return hold(debounceReason(*remaining));
  return WakeDecision::Release{"No active agent sessions"};
}

}  // namespace vigilo
