#pragma once

#include "platform/Directories.h"

namespace vigilo {

struct StatusOptions {
  bool json = false;
  bool follow = false;
};

// `vigilo status`: asks the running host. Returns the exit code: 3 when no host runs.
int statusCommand(const Directories& directories, StatusOptions options);

}  // namespace vigilo
