#include "support/Subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <string_view>

#include "support/Mutex.h"
#include "support/UniqueFd.h"

extern char** environ;

namespace vigilo {
namespace {

using namespace std::chrono_literals;
using Deadline = std::optional<std::chrono::steady_clock::time_point>;

// How long a killed program may take to go before it is left to itself: one that is stuck in the kernel goes
// when the kernel lets it.
constexpr auto killPatience = 100ms;

// Killed programs that had not gone yet; a later run takes their status, so that they do not stay as zombies.
Mutex abandonedLock;
std::vector<pid_t> abandoned VIGILO_GUARDED_BY(abandonedLock);

void reapAbandoned() {
  const LockGuard guard(abandonedLock);
  std::erase_if(abandoned, [](pid_t child) { return ::waitpid(child, nullptr, WNOHANG) != 0; });
}

int millisecondsLeft(const Deadline& deadline) {
  if (!deadline) return -1;
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(*deadline - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left.count(), 0, 1 << 30));
}

// Absent when the end has not come by the deadline, or within the limit of bytes.
std::optional<std::string> readToEnd(int fd, const Deadline& deadline) {
  std::string text;
  char block[4096];
  for (;;) {
    pollfd waiting{fd, POLLIN, 0};
    const int ready = ::poll(&waiting, 1, millisecondsLeft(deadline));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return std::nullopt;
    const ssize_t count = ::read(fd, block, sizeof block);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(block, static_cast<std::size_t>(count));
    if (text.size() > subprocessOutputLimit) return std::nullopt;
  }
}

// The status of a child that has ended; absent when it has not by the deadline.
std::optional<int> waitForEnd(pid_t child, const Deadline& deadline) {
  int status = 0;
  for (;;) {
    const pid_t ended = ::waitpid(child, &status, deadline ? WNOHANG : 0);
    if (ended == child) return status;
    if (ended < 0 && errno != EINTR) return std::nullopt;
    if (ended != 0) continue;
    if (millisecondsLeft(deadline) == 0) return std::nullopt;
    ::poll(nullptr, 0, 1);
  }
}

void kill(pid_t child) {
  // The group is there from the program's first moment on; the child itself, in case it has none of its own.
  ::kill(-child, SIGKILL);
  ::kill(child, SIGKILL);
  if (waitForEnd(child, std::chrono::steady_clock::now() + killPatience)) return;
  const LockGuard guard(abandonedLock);
  abandoned.push_back(child);
}

std::vector<std::string> environmentWith(
    const std::map<std::string, std::optional<std::string>>& differences) {
  std::vector<std::string> result;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view line = *entry;
    if (!differences.contains(std::string(line.substr(0, line.find('='))))) result.emplace_back(line);
  }
  for (const auto& [name, value] : differences) {
    if (value) result.push_back(name + "=" + *value);
  }
  return result;
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const auto& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

// What posix_spawn is to do in the child.
class Spawn {
 public:
  Spawn() {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawnattr_init(&attributes_);
  }
  ~Spawn() {
    ::posix_spawnattr_destroy(&attributes_);
    ::posix_spawn_file_actions_destroy(&actions_);
  }
  Spawn(const Spawn&) = delete;
  Spawn& operator=(const Spawn&) = delete;

  std::optional<pid_t> run(const std::string& path, const std::vector<std::string>& arguments,
                           const SubprocessOptions& options, int output) {
    if (output >= 0) ::posix_spawn_file_actions_adddup2(&actions_, output, STDOUT_FILENO);
    if (options.isSilent) {
      ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
      ::posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    setAttributes(options.timeLimit.has_value());
    std::vector<std::string> words{path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const auto variables = environmentWith(options.environment);
    pid_t child = 0;
    const int failure = ::posix_spawn(&child, path.c_str(), &actions_, &attributes_, pointersTo(words).data(),
                                      pointersTo(variables).data());
    return failure == 0 ? std::optional(child) : std::nullopt;
  }

 private:
  // The child starts with the signals as a shell would hand them over, whatever this process ignores.
  void setAttributes(bool ownGroup) {
    sigset_t defaults;
    sigset_t none;
    ::sigemptyset(&none);
    ::sigemptyset(&defaults);
    ::sigaddset(&defaults, SIGPIPE);
    ::posix_spawnattr_setsigdefault(&attributes_, &defaults);
    ::posix_spawnattr_setsigmask(&attributes_, &none);
    ::posix_spawnattr_setpgroup(&attributes_, 0);
    const int flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | (ownGroup ? POSIX_SPAWN_SETPGROUP : 0);
    ::posix_spawnattr_setflags(&attributes_, static_cast<short>(flags));
  }

  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

}  // namespace

std::optional<SubprocessResult> runProgram(const std::string& path, const std::vector<std::string>& arguments,
                                           const SubprocessOptions& options) {
  reapAbandoned();
  UniqueFd readEnd;
  UniqueFd writeEnd;
  if (options.captureOutput) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
    readEnd.reset(ends[0]);
    writeEnd.reset(ends[1]);
  }
  Deadline deadline;
  if (options.timeLimit) deadline = std::chrono::steady_clock::now() + *options.timeLimit;
  const auto child = Spawn().run(path, arguments, options, writeEnd.get());
  if (!child) return std::nullopt;
  writeEnd.reset();
  auto output = options.captureOutput ? readToEnd(readEnd.get(), deadline) : std::string();
  readEnd.reset();
  const auto status = output ? waitForEnd(*child, deadline) : std::nullopt;
  if (!status) {
    kill(*child);
    return std::nullopt;
  }
  return SubprocessResult{WIFEXITED(*status) ? WEXITSTATUS(*status) : 128 + WTERMSIG(*status),
                          std::move(*output)};
}

}  // namespace vigilo
