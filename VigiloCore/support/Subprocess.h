#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vigilo {

struct SubprocessResult {
  int exitStatus = 0;  // 128 plus the signal's number where a signal ended it
  std::string standardOutput;
};

// Runs a program by its absolute path, without a shell, and waits for its end. Standard error is inherited;
// standard output is captured when asked for, else inherited; no other descriptor reaches it. Absent when it
// cannot be launched. Blocks the caller; thread-safe.
std::optional<SubprocessResult> runProgram(const std::string& path, const std::vector<std::string>& arguments,
                                           bool captureOutput);

}  // namespace vigilo
