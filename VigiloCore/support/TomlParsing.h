#pragma once

// TOML for the .cpp files that read it: include this only there, it brings in the TOML library.

namespace vigilo {
// Where the library would stop the program, or be undefined without assertions: at a text like "[=".
struct TomlAssertion {};
[[noreturn]] inline void failTomlAssertion() {
  throw TomlAssertion();
}
}  // namespace vigilo

#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 0
#define TOML_ASSERT(condition) ((condition) ? void() : ::vigilo::failTomlAssertion())
// The library takes its assertions for granted where this is defined.
#pragma push_macro("NDEBUG")
#undef NDEBUG
#include <toml++/toml.h>
#pragma pop_macro("NDEBUG")

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/Result.h"
#include "support/TomlError.h"
#include "support/TomlText.h"

namespace vigilo {

inline bool stopsTheLibrary(std::string_view text) {
  try {
    (void)toml::parse(text);
    return false;
  } catch (const TomlAssertion&) {
    return true;
  }
}

// The line that stops the library: the first one with which the text up to it does.
inline std::size_t lineOfAssertion(std::string_view text) {
  std::vector<std::size_t> ends;
  for (std::size_t end = 0; end < text.size();) {
    end = std::min(text.find('\n', end), text.size() - 1) + 1;
    ends.push_back(end);
  }
  const auto stop = std::ranges::partition_point(
      ends, [text](std::size_t end) { return !stopsTheLibrary(text.substr(0, end)); });
  return static_cast<std::size_t>(stop - ends.begin()) + 1;
}

inline Result<toml::table, TomlError> parseToml(std::string_view text) {
  if (auto problem = tomlTextProblem(text)) return *std::move(problem);
  try {
    auto result = toml::parse(text);
    if (result) return std::move(result).table();
    const auto& error = result.error();
    const auto at = error.source().begin;
    return TomlError{"line " + std::to_string(at.line) + ", column " + std::to_string(at.column) + ": " +
                     std::string(error.description())};
  } catch (const TomlAssertion&) {
    return TomlError{"line " + std::to_string(lineOfAssertion(text)) + ": not TOML"};
  }
}

}  // namespace vigilo
