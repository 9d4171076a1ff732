#pragma once

#include <optional>
#include <string>

#include "helper/HelperProtocol.h"
#include "platform/Directories.h"

namespace vigilo {

// `vigilo helper status`: whether it is installed and answers, what it holds, and what to do when not; 3 when
// none answers.
int helperStatusCommand(const Directories& directories, bool json);
// `vigilo helper uninstall`: makes the helper give its hold back whoever asked for it; 3 when none answers.
int helperUninstallCommand(const Directories& directories);

struct HelperAnswer {
  std::string socket;
  bool isSystemHelper = false;
  bool isBesideHost = false;  // in a file system of the running host's own
  HelperResponse response;
};
// Asks the helper at the first path where one answers, at last where the running host of this user would find
// it; absent when none does. Blocks for two seconds a path at most.
std::optional<HelperAnswer> askHelper(const Directories& directories, HelperCommand command);

}  // namespace vigilo
