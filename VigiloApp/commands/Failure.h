#pragma once

#include <cstdio>
#include <string>

namespace vigilo {

// Tells people on standard error why a command was not carried out, and gives the exit code on.
inline int fail(int exitCode, const std::string& message) {
  std::fprintf(stderr, "vigilo: %s\n", message.c_str());
  return exitCode;
}

}  // namespace vigilo
