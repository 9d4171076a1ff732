#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "support/Date.h"
#include "support/RecordFields.h"

// The values in which every part of the system talks about agents. Plain records, compared field by field.
namespace vigilo {

enum class AgentType { claude, codex, gemini, opencode, antigravity, cursor, windsurf, aider, custom };

template <>
struct RawValues<AgentType> {
  static constexpr std::array table{std::pair{AgentType::claude, std::string_view("claude")},
                                    std::pair{AgentType::codex, std::string_view("codex")},
                                    std::pair{AgentType::gemini, std::string_view("gemini")},
                                    std::pair{AgentType::opencode, std::string_view("opencode")},
                                    std::pair{AgentType::antigravity, std::string_view("antigravity")},
                                    std::pair{AgentType::cursor, std::string_view("cursor")},
                                    std::pair{AgentType::windsurf, std::string_view("windsurf")},
                                    std::pair{AgentType::aider, std::string_view("aider")},
                                    std::pair{AgentType::custom, std::string_view("custom")}};
};

enum class AgentState { unknown, idle, working, waiting, completed, error, stale };

template <>
struct RawValues<AgentState> {
  static constexpr std::array table{std::pair{AgentState::unknown, std::string_view("unknown")},
                                    std::pair{AgentState::idle, std::string_view("idle")},
                                    std::pair{AgentState::working, std::string_view("working")},
                                    std::pair{AgentState::waiting, std::string_view("waiting")},
                                    std::pair{AgentState::completed, std::string_view("completed")},
                                    std::pair{AgentState::error, std::string_view("error")},
                                    std::pair{AgentState::stale, std::string_view("stale")}};
};

// How a session is known.
enum class IntegrationType { lifecycleHook, plugin, process, fallback };

template <>
struct RawValues<IntegrationType> {
  static constexpr std::array table{std::pair{IntegrationType::lifecycleHook, std::string_view("lifecycle")},
                                    std::pair{IntegrationType::plugin, std::string_view("plugin")},
                                    std::pair{IntegrationType::process, std::string_view("process")},
                                    std::pair{IntegrationType::fallback, std::string_view("fallback")}};
};

const char* displayName(AgentType agent);
const char* iconName(AgentType agent);  // the platform's symbol image
IntegrationType defaultIntegration(AgentType agent);
const char* displayLabel(AgentState state);
const char* displayName(IntegrationType integration);

// The one definition of "active" that the whole system uses.
constexpr bool isActivelyWorking(AgentState state) {
  return state == AgentState::working || state == AgentState::waiting;
}

// How far one agent is installed and wired up on this machine.
struct IntegrationStatus {
  bool isInstalled = false;  // its executable or application was found
  std::optional<std::string> agentVersion;
  IntegrationType integrationType{};
  bool isIntegrationActive = false;  // the hook or plug-in is in place
  std::optional<std::string> backupPath;
  std::string statusMessage;

  bool operator==(const IntegrationStatus&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("isInstalled", &IntegrationStatus::isInstalled),
                      field("agentVersion", &IntegrationStatus::agentVersion),
                      field("integrationType", &IntegrationStatus::integrationType),
                      field("isIntegrationActive", &IntegrationStatus::isIntegrationActive),
                      field("backupPath", &IntegrationStatus::backupPath),
                      field("statusMessage", &IntegrationStatus::statusMessage)};
  }
};

// Usage figures of one session. A newer record replaces an older one; nothing merges two.
struct UsageMetrics {
  std::optional<std::int64_t> inputTokens;
  std::optional<std::int64_t> outputTokens;
  std::optional<std::int64_t> cachedTokens;      // read from cache
  std::optional<std::int64_t> cacheWriteTokens;  // written to cache
  std::optional<std::int64_t> reasoningTokens;
  std::optional<std::int64_t> totalTokens;    // as reported by the agent
  std::optional<std::int64_t> contextWindow;  // the model's, in tokens
  std::optional<double> sessionCostEstimateUSD;
  Date recordedAt;

  // The total as reported, otherwise input + output + reasoning; cached tokens are not part of that sum.
  // Absent when the sum is not positive.
  std::optional<std::int64_t> effectiveTotalTokens() const;

  bool operator==(const UsageMetrics&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("inputTokens", &UsageMetrics::inputTokens),
                      field("outputTokens", &UsageMetrics::outputTokens),
                      field("cachedTokens", &UsageMetrics::cachedTokens),
                      field("cacheWriteTokens", &UsageMetrics::cacheWriteTokens),
                      field("reasoningTokens", &UsageMetrics::reasoningTokens),
                      field("totalTokens", &UsageMetrics::totalTokens),
                      field("contextWindow", &UsageMetrics::contextWindow),
                      field("sessionCostEstimateUSD", &UsageMetrics::sessionCostEstimateUSD),
                      field("recordedAt", &UsageMetrics::recordedAt)};
  }
};

// One live session of an agent.
struct AgentSession {
  std::string id;  // from the hook event, or "proc-<agent>-<pid>" for a process
  AgentType agentType{};
  AgentState state{};
  Date startedAt;    // first seen
  Date lastEventAt;  // last reported or seen
  std::optional<std::int32_t> pid;
  std::optional<std::string> cwd;
  std::optional<std::string> hostAppName;  // the terminal or editor around it
  std::optional<std::string> lastEventDescription;
  std::optional<UsageMetrics> usageMetrics;
  IntegrationType integrationType{};
  double confidence = 0;  // how sure the system is that it is real, 0 to 1

  bool isWorking() const { return isActivelyWorking(state); }

  bool operator==(const AgentSession&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("id", &AgentSession::id),
                      field("agentType", &AgentSession::agentType),
                      field("state", &AgentSession::state),
                      field("startedAt", &AgentSession::startedAt),
                      field("lastEventAt", &AgentSession::lastEventAt),
                      field("pid", &AgentSession::pid),
                      field("cwd", &AgentSession::cwd),
                      field("hostAppName", &AgentSession::hostAppName),
                      field("lastEventDescription", &AgentSession::lastEventDescription),
                      field("usageMetrics", &AgentSession::usageMetrics),
                      field("integrationType", &AgentSession::integrationType),
                      field("confidence", &AgentSession::confidence)};
  }
};

}  // namespace vigilo
