#pragma once

#include <memory>
#include <string>
#include <vector>

#include "usage/UsageSource.h"

namespace vigilo {

// OpenCode's messages in its database: each one with token counts becomes one event. The agent writes a
// message with counts of zero when a step begins and fills them in at its end, so such a message is left for
// later.
std::unique_ptr<UsageSource> openCodeMessages(const std::vector<std::string>& databasePaths);

}  // namespace vigilo
