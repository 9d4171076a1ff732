#pragma once

#include <optional>
#include <string>

namespace vigilo {

// The absolute path of the running program's file, links resolved. Absent when it cannot be told, or when the
// file has been replaced or removed since. Thread-safe.
std::optional<std::string> executablePath();

}  // namespace vigilo
