#pragma once

#include "agents/ProcessAgentAdapter.h"

namespace vigilo {

// Aider, a command-line tool.
class AiderAdapter final : public ProcessAgentAdapter {
 public:
  explicit AiderAdapter(AgentSurroundings surroundings)
      : ProcessAgentAdapter({AgentType::aider, "aider", false, "Installed (CLI executable detected)",
                             "Aider is monitored automatically when active in your terminal shell."},
                            std::move(surroundings)) {}
};

}  // namespace vigilo
