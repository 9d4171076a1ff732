#pragma once

#include "platform/Directories.h"

namespace vigilo {

// `vigilo` alone: what is held in a few lines, or how to start a host, and the commonest commands. Exit code
// 0 in either case.
int overviewCommand(const Directories& directories);

}  // namespace vigilo
