#pragma once

#include <sys/types.h>
#include <optional>
#include <string>

namespace vigilo {

// Where the helper daemon is installed, whether it runs or not.
struct HelperInstallation {
  std::optional<std::string> unitFile;  // the service manager's
  bool isUnitEnabled = false;           // it starts with the machine
  std::optional<std::string> program;   // that the unit starts, or that lies beside the calling program
};

// Looks at the files only. Thread-safe.
HelperInstallation findHelperInstallation();

// Where the system's helper listens for a process that may have a file system of its own.
std::string rootHelperSocketOf(pid_t process);

}  // namespace vigilo
