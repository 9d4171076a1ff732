#pragma once

#include <string>

#include "support/AtomicFile.h"
#include "support/UniqueFd.h"

namespace vigilo {

// Opens a file with these flags of open(2), closed on exec. Never waits: what is no regular file, a FIFO say,
// is an error (EINVAL, a folder EISDIR) and is not touched. Thread-safe.
Result<UniqueFd, FileError> openFile(const std::string& path, int flags, int mode = 0600);

}  // namespace vigilo
