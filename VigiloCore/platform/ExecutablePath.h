#pragma once

#include <optional>
#include <string>

namespace vigilo {

// The absolute path of the running program's file, links resolved. Where the file has been replaced since,
// after an update say, it is the path of the new one. Absent when it cannot be told, or when the file has
// been removed. Thread-safe.
std::optional<std::string> executablePath();

}  // namespace vigilo
