#pragma once

#include <optional>
#include <string>

#include "support/AtomicFile.h"

namespace vigilo {

// Makes the folder and all above it where they are missing, owner only, and sees to it that others cannot
// write in it: what they may write they may replace. Takes that right from them, and logs it, where the
// folder is this user's; otherwise an error with EPERM. Absent on success. Thread-safe.
std::optional<FileError> makePrivateFolder(const std::string& path);

}  // namespace vigilo
