#pragma once

#include "agents/AgentRegistry.h"
#include "platform/Directories.h"

namespace vigilo {

// The registry of all agents that the system knows, on this machine, which from now on is the shared one.
const AgentRegistry& installAgentRegistry(const Directories& directories);

// `vigilo agents`: what is installed and wired up, asked from the machine, and what has reached the running
// host. Takes about three seconds at most, whatever the agents' executables do.
int agentsCommand(const Directories& directories, bool json);

}  // namespace vigilo
