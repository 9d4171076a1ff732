#pragma once

#include <chrono>

#include "agents/AgentAdapter.h"
#include "platform/Directories.h"

namespace vigilo {

// Waits until a hook of the agent has reached the running host and tells what it said; after `time` tells
// what to look at. Hooks that cannot tell anything are told at once. Returns the exit code: exitOk,
// exitFailure when nothing came, or nothing of use; exitNoHost.
int checkSetup(const Directories& directories, const AgentAdapter& adapter, const std::string& relay,
               std::chrono::seconds time);

}  // namespace vigilo
