#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace vigilo {

// The normal form of an absolute path, so that paths can be compared as text: no empty parts, no "." and
// "..", no slash at the end but that of "/". Links are not resolved, and a path that is not absolute is left
// as it is. No allocation, no exceptions; thread-safe.

// Rewrites the path where it stands, returns its new length.
std::size_t makeNormalPath(std::span<char> path);

inline std::string normalPath(std::string path) {
  path.resize(makeNormalPath(path));
  return path;
}

}  // namespace vigilo
