#pragma once

#include <map>
#include <string>
#include <vector>

#include "agents/AgentModel.h"

namespace vigilo {

// Tells in words what has changed among the sessions since the last look: "Claude Code is working in
// /home/me/proj, session c353". An event that leaves a session's state alone is no news. Not thread-safe.
class SessionNews {
 public:
  std::vector<std::string> since(const std::vector<AgentSession>& sessions);

 private:
  struct Known {
    AgentType agent{};
    AgentState state{};
  };
  std::map<std::string, Known> known_;
};

}  // namespace vigilo
