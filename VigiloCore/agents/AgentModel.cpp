#include "agents/AgentModel.h"

#include "support/RecordCoding.h"

namespace vigilo {
namespace {

struct AgentTraits {
  const char* displayName;
  const char* iconName;
  IntegrationType defaultIntegration;
};

// In declaration order of AgentType.
constexpr AgentTraits agentTraits[] = {
    {"Claude Code", "sparkles", IntegrationType::lifecycleHook},
    {"Codex CLI", "terminal", IntegrationType::lifecycleHook},
    {"Gemini CLI", "bolt.fill", IntegrationType::lifecycleHook},
    {"OpenCode", "chevron.left.forwardslash.chevron.right", IntegrationType::plugin},
    {"Antigravity", "circle.hexagongrid.fill", IntegrationType::process},
    {"Cursor", "cursorarrow.rays", IntegrationType::process},
    {"Windsurf", "wind", IntegrationType::process},
    {"Aider", "wrench.and.screwdriver", IntegrationType::process},
    {"Custom Agent", "cpu", IntegrationType::process},
};

constexpr const char* stateLabels[] = {"Unknown",   "Idle",  "Working", "Waiting",
                                       "Completed", "Error", "Stale"};
constexpr const char* integrationNames[] = {"Lifecycle Hook", "Plugin", "Process Watcher", "Fallback"};

template <class Enumeration>
constexpr auto index(Enumeration value) {
  return static_cast<std::size_t>(value);
}

}  // namespace

const char* displayName(AgentType agent) {
  return agentTraits[index(agent)].displayName;
}

const char* iconName(AgentType agent) {
  return agentTraits[index(agent)].iconName;
}

IntegrationType defaultIntegration(AgentType agent) {
  return agentTraits[index(agent)].defaultIntegration;
}

const char* displayLabel(AgentState state) {
  return stateLabels[index(state)];
}

const char* displayName(IntegrationType integration) {
  return integrationNames[index(integration)];
}

std::optional<std::int64_t> UsageMetrics::effectiveTotalTokens() const {
  if (totalTokens) return totalTokens;
  const std::int64_t sum = inputTokens.value_or(0) + outputTokens.value_or(0) + reasoningTokens.value_or(0);
  return sum > 0 ? std::optional(sum) : std::nullopt;
}

VIGILO_RECORD_CODING(IntegrationStatus);
VIGILO_RECORD_CODING(UsageMetrics);
VIGILO_RECORD_CODING(AgentSession);

}  // namespace vigilo
