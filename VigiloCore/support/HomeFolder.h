#pragma once

#include <span>
#include <string>
#include <string_view>

namespace vigilo {

// Where every program of this system works: the home folder in normal form (support/NormalPath.h): `$HOME`
// where it is set and absolute, else the account's entry in /etc/passwd. The name service is not asked, so
// that static programs can call this; no allocation, no exceptions: the relay links this file. Thread-safe
// while nobody changes the environment.

// Written into `buffer`; empty when there is none, or when it does not fit.
std::string_view homeFolder(std::span<char> buffer);

inline std::string homeFolder() {
  char buffer[4096];
  return std::string(homeFolder(buffer));
}

// Where events are received, below the home folder.
inline constexpr std::string_view hookSocketBelowHome = "/Library/Application Support/Vigilo/run/vigilo.sock";

// The whole path, written into `buffer`; empty as above.
std::string_view hookSocketPath(std::span<char> buffer);

}  // namespace vigilo
