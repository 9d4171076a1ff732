#pragma once

#include <memory>
#include <string>
#include <vector>

#include "usage/UsageSource.h"

namespace vigilo {

// Claude Code's conversation logs below its projects folder: each line of type "assistant" or "result" with
// token counts becomes an event. A message that the agent wrote in several lines is handed out as often; all
// carry its id as their turn. Field names are compared as agents write them, without escapes.
std::unique_ptr<UsageSource> claudeProjectLogs(std::vector<std::string> folders);

}  // namespace vigilo
