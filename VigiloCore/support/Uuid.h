#pragma once

#include <string>

namespace vigilo {

// A new random UUID, "0F8FAD5B-D9CB-469F-A165-70867728950E". Thread-safe.
std::string makeUuid();

}  // namespace vigilo
