#pragma once

#include <optional>

#include "agents/SessionTable.h"
#include "support/Date.h"

namespace vigilo {

// Told after every operation on the session table, on the thread of the operation and with no lock held.
class AgentStateCoordinatorDelegate {
 public:
  virtual ~AgentStateCoordinatorDelegate() = default;
  // Both as they stood at the end of the operation. Keeping the snapshot makes the next change copy the
  // table.
  virtual void coordinatorDidUpdateSessions(SessionSnapshot sessions,
                                            std::optional<Date> lastActiveAgentStoppedAt) = 0;
};

}  // namespace vigilo
