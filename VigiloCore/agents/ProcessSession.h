#pragma once

#include "agents/AgentModel.h"

namespace vigilo {

// Whether the session was found in the process table; otherwise the agent's own hooks or plug-in reported it.
inline bool isProcessSession(const AgentSession& session) {
  return session.integrationType == IntegrationType::process && session.id.starts_with("proc-");
}

}  // namespace vigilo
