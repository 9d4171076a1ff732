#include "support/Subprocess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>

#include "support/UniqueFd.h"

extern char** environ;

namespace vigilo {
namespace {

std::string readToEnd(int fd) {
  std::string text;
  char block[4096];
  for (;;) {
    const ssize_t count = ::read(fd, block, sizeof block);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(block, static_cast<std::size_t>(count));
  }
}

}  // namespace

std::optional<SubprocessResult> runProgram(const std::string& path, const std::vector<std::string>& arguments,
                                           bool captureOutput) {
  UniqueFd readEnd;
  UniqueFd writeEnd;
  if (captureOutput) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
    readEnd.reset(ends[0]);
    writeEnd.reset(ends[1]);
  }
  std::vector<char*> argv{const_cast<char*>(path.c_str())};
  for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawnattr_init(&attributes);
  if (captureOutput) ::posix_spawn_file_actions_adddup2(&actions, writeEnd.get(), STDOUT_FILENO);
  // The child starts with the signals as a shell would hand them over, whatever this process ignores.
  sigset_t defaults;
  sigset_t none;
  ::sigemptyset(&none);
  ::sigemptyset(&defaults);
  ::sigaddset(&defaults, SIGPIPE);
  ::posix_spawnattr_setsigdefault(&attributes, &defaults);
  ::posix_spawnattr_setsigmask(&attributes, &none);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  pid_t child = 0;
  const int failure = ::posix_spawn(&child, path.c_str(), &actions, &attributes, argv.data(), environ);
  ::posix_spawnattr_destroy(&attributes);
  ::posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) return std::nullopt;

  SubprocessResult result;
  writeEnd.reset();
  if (captureOutput) result.standardOutput = readToEnd(readEnd.get());
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return std::nullopt;
  }
  result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

}  // namespace vigilo
