#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "agents/AgentModel.h"
#include "support/Date.h"
#include "support/RecordCoder.h"

namespace vigilo {

// The id of an event that came without one: "<agent>-<pid>", or "<agent>-default" without a pid.
std::string namelessSessionId(AgentType agent, std::optional<std::int32_t> pid);

// What can be wrong with a hook event or with the way to its receiver. Usable as the code of a
// std::system_error.
enum class HookEventError { invalidJSON = 1, payloadTooLarge, missingRequiredFields };

const std::error_category& hookEventCategory();
std::error_code make_error_code(HookEventError error);

// The agent and the state of that name in any case of letters; absent where there is none.
std::optional<AgentType> agentNamed(std::string_view name);
std::optional<AgentState> stateNamed(std::string_view name);
// The names that a hook may use: what is told of, and said by, agents that Vigilo knows.
inline constexpr std::array<std::string_view, 8> agentNames{"claude",      "codex",  "gemini",   "opencode",
                                                            "antigravity", "cursor", "windsurf", "aider"};
inline constexpr std::array<std::string_view, 5> stateNames{"idle", "working", "waiting", "completed",
                                                            "error"};

// The most that a receiver reads of one event, in bytes.
inline constexpr std::size_t hookEventLimit = 65536;
// Token counts beyond this, in either direction, are taken for noise and read as absent.
inline constexpr std::int64_t largestTokenCount = 1'000'000'000'000;

// One agent, in one session, is in this state from now on. On the wire it is one JSON object with snake_case
// keys in the order of the members ("session_id", "input_tokens"), its time in seconds since 1970. A plain
// value.
struct HookEvent {
  std::int64_t schema = 1;
  AgentType agent{};
  std::string sessionId;  // never empty: see `of`
  AgentState state{};
  Date timestamp;
  std::optional<std::int32_t> pid;
  std::optional<std::string> cwd;
  std::optional<std::int64_t> inputTokens;  // of the turn, as the three below
  std::optional<std::int64_t> outputTokens;
  std::optional<std::int64_t> cachedTokens;
  std::optional<std::int64_t> reasoningTokens;
  std::optional<std::string> model;
  std::optional<std::string> turnId;  // tells a repeated report of the same turn
  // The names as they were sent, where `agent` and `state` know none such.
  std::optional<std::string> unknownAgent, unknownState;

  // An event with a session id in place of an empty one.
  static HookEvent of(AgentType agent, AgentState state, Date timestamp, std::string sessionId = {},
                      std::optional<std::int32_t> pid = std::nullopt);

  bool operator==(const HookEvent&) const = default;
};

// Reads an event leniently: "agent" and "state" are required strings in any case of letters, whose unknown
// names read as `custom` and `unknown`; everything else that is missing or of the wrong type reads as absent,
// and a missing time as `now`. Total on hostile bytes: malformed, too deeply nested or oversized numbers are
// an error. Thread-safe.
Result<HookEvent, DecodeError> decodeHookEvent(std::string_view bytes, Date now);

// Absent optionals are omitted. Absent when the time is not finite: it has no JSON form. Thread-safe.
std::optional<std::string> encodeHookEvent(const HookEvent& event);

}  // namespace vigilo

template <>
struct std::is_error_code_enum<vigilo::HookEventError> : std::true_type {};
