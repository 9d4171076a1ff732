#pragma once

#include <cstdint>
#include <string>

#include "agents/AgentModel.h"

namespace vigilo {

// One agent's process as one scan of the process table found it. A plain value.
struct ProcessMatch {
  AgentType agent{};
  std::int32_t pid = 0;
  std::string name;  // what was matched, for people
  bool isRunning = false;
  bool isWorking = false;
  std::string command;  // the command line or application name seen

  bool operator==(const ProcessMatch&) const = default;
};

}  // namespace vigilo
