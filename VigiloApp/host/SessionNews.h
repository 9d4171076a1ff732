#pragma once

#include <map>
#include <string>
#include <vector>

#include "agents/AgentModel.h"

namespace vigilo {

// Tells in words what has changed among the sessions since the last look: "Claude Code is working in
// /home/me/proj". An event that leaves a session's state alone is no news. Not thread-safe.
class SessionNews {
 public:
  std::vector<std::string> since(const std::vector<AgentSession>& sessions);

 private:
  struct Known {
    std::string name;  // and where it works
    AgentState state{};
  };
  std::map<std::string, Known> known_;
};

}  // namespace vigilo
