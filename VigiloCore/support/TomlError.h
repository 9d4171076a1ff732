#pragma once

#include <string>

namespace vigilo {

// Why a text is not TOML.
struct TomlError {
  std::string description;  // for people, with line and column where there are any
};

}  // namespace vigilo
