#pragma once

#include <optional>
#include <string>

#include "platform/Directories.h"

namespace vigilo {

// Writes what a command exports: to standard output, or to the file that the user named, replaced atomically
// and readable by its owner only when it is new. A folder that does not exist is refused, and so are the
// agents' folders, shell start-up files and the system's folders. Returns the exit code, having said what is
// wrong.
int writeExport(const Directories& directories, const std::optional<std::string>& file,
                const std::string& text);

}  // namespace vigilo
