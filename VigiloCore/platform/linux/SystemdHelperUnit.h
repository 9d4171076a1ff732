#pragma once

#include <string>

#include "platform/HelperInstallation.h"

namespace vigilo {

// The helper's unit in systemd's folders below `root`, which stands for /. Without a unit the program is
// looked for where an installation puts it beside `ownProgram`, and in the same folder.
HelperInstallation findHelperUnit(const std::string& root, const std::string& ownProgram);

}  // namespace vigilo
