#pragma once

#include "agents/ProcessAgentAdapter.h"

namespace vigilo {

// The Windsurf editor.
class WindsurfAdapter final : public ProcessAgentAdapter {
 public:
  explicit WindsurfAdapter(AgentSurroundings surroundings)
      : ProcessAgentAdapter(
            {AgentType::windsurf, "windsurf", true, "Running (Process signal)",
             "Windsurf is monitored automatically via background process heuristics. No manual "
             "configuration required."},
            std::move(surroundings)) {}
};

}  // namespace vigilo
