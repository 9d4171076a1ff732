#pragma once

#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "agents/AgentModel.h"
#include "policy/WakeDecision.h"
#include "support/RecordFields.h"

namespace vigilo {

// The one state that stands for everything at a glance: what an avatar or an icon shows. Its raw value is
// also its identity. Plain values; thread-safe.
enum class VigiloVisualState { idle, working, waiting, completed, error };

template <>
struct RawValues<VigiloVisualState> {
  static constexpr std::array table{std::pair{VigiloVisualState::idle, std::string_view("idle")},
                                    std::pair{VigiloVisualState::working, std::string_view("working")},
                                    std::pair{VigiloVisualState::waiting, std::string_view("waiting")},
                                    std::pair{VigiloVisualState::completed, std::string_view("completed")},
                                    std::pair{VigiloVisualState::error, std::string_view("error")}};
};

const char* displayLabel(VigiloVisualState state);
bool isAnimated(VigiloVisualState state);
double defaultFrameDuration(VigiloVisualState state);  // seconds a frame of its animation

// How one session's state looks; a stale or unknown one looks idle.
VigiloVisualState visualState(AgentState agentState);
// How all sessions together look under the decision. Any safety block shows as an error, whatever the agents
// do; otherwise working wins over waiting, error, completed and idle, in this order.
VigiloVisualState aggregateVisualState(const std::vector<AgentSession>& sessions,
                                       const WakeDecision& decision);

}  // namespace vigilo
