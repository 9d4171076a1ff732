#pragma once

#include <memory>

#include "agents/AgentRegistry.h"
#include "platform/Directories.h"

namespace vigilo {

// The registry of all agents that the system knows, on this machine.
std::unique_ptr<AgentRegistry> makeAgentRegistry(const Directories& directories);

// `vigilo agents`: what is installed and wired up, asked from the machine, and what has reached the running
// host. Takes about three seconds at most, whatever the agents' executables do.
int agentsCommand(const Directories& directories, bool json);

}  // namespace vigilo
