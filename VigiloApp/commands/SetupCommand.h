#pragma once

#include <optional>
#include <string>

#include "platform/Directories.h"

namespace vigilo {

struct SetupOptions {
  std::string agent;                 // its raw value, as the user typed it
  std::optional<std::string> relay;  // else the relay beside this program
  bool json = false;
  bool check = false;
  std::string wait = "1m";  // of a check, as the user typed it
};

// `vigilo setup AGENT`: what to write into which file, so that the agent's hooks run the relay. Writes
// nothing. With `check`: waits for an event from the agent and tells what arrived; the exit code is 0 when
// one did, 1 when none did in time, 3 when no host runs.
int setupCommand(const Directories& directories, const SetupOptions& options);

}  // namespace vigilo
