#pragma once

#include "platform/Directories.h"

namespace vigilo {

// `vigilo helper status`: prints what the helper says; 3 when none answers.
int helperStatusCommand(const Directories& directories);
// `vigilo helper uninstall`: makes the helper give its hold back whoever asked for it; 3 when none answers.
int helperUninstallCommand(const Directories& directories);

}  // namespace vigilo
