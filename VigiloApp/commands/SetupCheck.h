#pragma once

#include <chrono>

#include "agents/AgentAdapter.h"
#include "platform/Directories.h"

namespace vigilo {

// Waits until a hook of the agent has reached the running host and tells what it said; after `time` tells
// what to look at. Returns the exit code: exitOk, exitFailure when nothing came, exitNoHost.
int checkSetup(const Directories& directories, const AgentAdapter& adapter, const std::string& relay,
               std::chrono::seconds time);

}  // namespace vigilo
