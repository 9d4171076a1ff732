#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vigilo {

struct SubprocessOptions {
  // Standard output is captured, else inherited.
  bool captureOutput = false;
  // Standard input and standard error are nobody's, else inherited.
  bool isSilent = false;
  // How long the program may take. After that it is killed, with everything that it started in its process
  // group, which is then its own. None: for ever.
  std::optional<std::chrono::milliseconds> timeLimit;
  // What differs from this process's environment: a value sets the variable, none removes it.
  std::map<std::string, std::optional<std::string>> environment;
};

struct SubprocessResult {
  int exitStatus = 0;  // 128 plus the signal's number where a signal ended it
  std::string standardOutput;
};

// Captured output beyond so many bytes is taken for a program that has gone mad: it is killed.
inline constexpr std::size_t subprocessOutputLimit = 64U << 20;

// Runs a program by its absolute path, without a shell, and waits for its end. No descriptor reaches it but
// the standard ones. Absent when it cannot be launched, or had to be killed. Blocks the caller; thread-safe
// while nobody changes the environment.
std::optional<SubprocessResult> runProgram(const std::string& path, const std::vector<std::string>& arguments,
                                           const SubprocessOptions& options = {});

}  // namespace vigilo
