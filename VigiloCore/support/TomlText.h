#pragma once

#include <optional>
#include <string_view>

#include "support/TomlError.h"

namespace vigilo {

// What no TOML holds and the TOML library must not see, because it is undefined there: control characters,
// and characters beyond ASCII outside strings and comments, or first on a continued line of a string. Absent
// where the text may be parsed. Thread-safe.
std::optional<TomlError> tomlTextProblem(std::string_view text);

}  // namespace vigilo
