#pragma once

// TOML for the .cpp files that read it: include this only there, it brings in the TOML library.

#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

#include <string>
#include <string_view>
#include <utility>

#include "support/Result.h"
#include "support/TomlError.h"

namespace vigilo {

inline Result<toml::table, TomlError> parseToml(std::string_view text) {
  auto result = toml::parse(text);
  if (result) return std::move(result).table();
  const auto& error = result.error();
  const auto at = error.source().begin;
  return TomlError{"line " + std::to_string(at.line) + ", column " + std::to_string(at.column) + ": " +
                   std::string(error.description())};
}

}  // namespace vigilo
