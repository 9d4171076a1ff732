#pragma once

#include <cstdint>
#include <string>

#include "agents/AgentModel.h"

namespace vigilo {

// The id of the session that stands for a process: "proc-<agent>-<pid>".
inline std::string processSessionId(AgentType agent, std::int32_t pid) {
  return "proc-" + std::string(rawValue(agent)) + "-" + std::to_string(pid);
}

// Whether the session stands for a process; otherwise the agent's own hooks or plug-in reported it.
inline bool isProcessSession(const AgentSession& session) {
  return session.integrationType == IntegrationType::process && session.pid &&
         session.id == processSessionId(session.agentType, *session.pid);
}

}  // namespace vigilo
