#pragma once

#include "platform/Directories.h"

namespace vigilo {

// The directories with the agents' folders that this process's variables and the user's settings name. Reads
// the settings file and waits for it; one that cannot be read names nothing.
Directories withAgentFolders(Directories directories);

}  // namespace vigilo
