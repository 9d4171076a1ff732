#pragma once

#include <string>

namespace vigilo {

// A fresh random identifier (version 4) in upper case: "E621E1F8-C36C-495A-93FC-0C247A3E6E5F". Thread-safe.
std::string makeUuid();

}  // namespace vigilo
