#pragma once

#include "platform/Directories.h"

namespace vigilo {

// `vigilo log`: what happened lately in the running host. Returns the exit code: 3 when no host runs.
int logCommand(const Directories& directories, bool json);

}  // namespace vigilo
