#pragma once

#include "platform/Directories.h"

namespace vigilo {

struct HostOptions {
  bool verbose = false;  // log lines of every level on standard error, not errors only
};

// `vigilo run`: the one host of this user, in the foreground until SIGINT, SIGTERM or SIGHUP. Returns the
// process's exit code: 0 after a clean end, with up to two seconds for the release of the holds.
int runHost(const Directories& directories, HostOptions options);

}  // namespace vigilo
