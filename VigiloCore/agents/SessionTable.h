#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "agents/AgentModel.h"

namespace vigilo {

// The known sessions by id. Handed around as an immutable snapshot: whoever holds one keeps the table as it
// stood when it was taken, and nothing is copied unless the table changes while a snapshot is held.
using SessionTable = std::unordered_map<std::string, AgentSession>;
using SessionSnapshot = std::shared_ptr<const SessionTable>;

}  // namespace vigilo
