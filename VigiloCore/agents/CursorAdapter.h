#pragma once

#include "agents/ProcessAgentAdapter.h"

namespace vigilo {

// The Cursor editor.
class CursorAdapter final : public ProcessAgentAdapter {
 public:
  explicit CursorAdapter(AgentSurroundings surroundings)
      : ProcessAgentAdapter(
            {AgentType::cursor, "cursor", true, "Running (Process signal)",
             "Cursor is monitored automatically via background process heuristics. No manual configuration "
             "required."},
            std::move(surroundings)) {}
};

}  // namespace vigilo
