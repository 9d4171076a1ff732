#pragma once

#include "platform/Directories.h"

namespace vigilo {

// `vigilo top`: the live view, until `q`, Ctrl-C, SIGTERM or the terminal's end. Returns the process's exit
// code: 69 where there is no terminal to draw on.
int topCommand(const Directories& directories);

}  // namespace vigilo
