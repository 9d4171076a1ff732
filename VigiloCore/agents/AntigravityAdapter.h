#pragma once

#include "agents/ProcessAgentAdapter.h"

namespace vigilo {

// The Antigravity editor.
class AntigravityAdapter final : public ProcessAgentAdapter {
 public:
  explicit AntigravityAdapter(AgentSurroundings surroundings)
      : ProcessAgentAdapter(
            {AgentType::antigravity, "antigravity", true, "Running (Process signal)",
             "Antigravity is monitored automatically via background process heuristics and system workspace "
             "events. No manual configuration required."},
            std::move(surroundings)) {}
};

}  // namespace vigilo
