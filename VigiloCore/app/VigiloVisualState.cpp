#include "app/VigiloVisualState.h"

#include <algorithm>

namespace vigilo {
namespace {

struct VisualTraits {
  const char* displayLabel;
  bool isAnimated;
  double defaultFrameDuration;
};

// In declaration order of VigiloVisualState.
constexpr VisualTraits visualTraits[] = {
    {"Idle", false, 1.0},      {"Working", true, 0.22}, {"Waiting", true, 0.45},
    {"Completed", true, 0.35}, {"Error", false, 1.0},
};

const VisualTraits& traits(VigiloVisualState state) {
  return visualTraits[static_cast<std::size_t>(state)];
}

}  // namespace

const char* displayLabel(VigiloVisualState state) {
  return traits(state).displayLabel;
}

bool isAnimated(VigiloVisualState state) {
  return traits(state).isAnimated;
}

double defaultFrameDuration(VigiloVisualState state) {
  return traits(state).defaultFrameDuration;
}

VigiloVisualState visualState(AgentState agentState) {
  switch (agentState) {
    case AgentState::working:
      return VigiloVisualState::working;
    case AgentState::waiting:
      return VigiloVisualState::waiting;
    case AgentState::completed:
      return VigiloVisualState::completed;
    case AgentState::error:
      return VigiloVisualState::error;
    case AgentState::unknown:
    case AgentState::idle:
    case AgentState::stale:
      break;
  }
  return VigiloVisualState::idle;
}

VigiloVisualState aggregateVisualState(const std::vector<AgentSession>& sessions,
                                       const WakeDecision& decision) {
  if (decision.isBlocked()) return VigiloVisualState::error;
  for (const AgentState state :
       {AgentState::working, AgentState::waiting, AgentState::error, AgentState::completed}) {
    const auto hasState = [state](const AgentSession& session) { return session.state == state; };
    if (std::any_of(sessions.begin(), sessions.end(), hasState)) return visualState(state);
  }
  return VigiloVisualState::idle;
}

}  // namespace vigilo
