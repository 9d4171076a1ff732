#pragma once

#include <memory>
#include <string>
#include <vector>

#include "usage/UsageSource.h"

namespace vigilo {

// Codex's session rollouts below its sessions folder: each line with the token usage of a turn becomes an
// event, dated when it is read. The model, the account's quota and the context are those that the same file
// named last. A file that held news of usage or quota becomes the report, the one written last winning. Field
// names are compared as the agent writes them, without escapes.
std::unique_ptr<UsageSource> codexRollouts(std::vector<std::string> folders);

}  // namespace vigilo
