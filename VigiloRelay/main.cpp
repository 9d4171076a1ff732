// vigilo-relay: sends one hook event to the running host, and is gone. Agents wait for their hooks, so it
// never takes longer than a second, never fails for want of a host, and prints nothing that an agent could
// take for an answer. It runs thousands of times a day: no allocation, no C++ runtime, a static program.
#include <poll.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string_view>

#include "EventText.h"
#include "HookInput.h"
#include "support/HomeFolder.h"
#include "support/UnixSocket.h"

namespace {

using namespace vigilo;
using namespace vigilo::relay;

// All of it together stays below one second: the input, the connection (which waits while the host is busy)
// and the acknowledgement. The last two share what the input has left, and each has its own limit.
constexpr long long inputLimitMs = 600;
constexpr long long wholeLimitMs = 950;
constexpr long long socketLimitMs = 400;

constexpr std::string_view usage =
    "Usage: vigilo-relay --agent AGENT --state STATE [--session-id ID]\n"
    "Tells Vigilo that a session of an agent has entered a state. Run by agents' hooks: takes the session "
    "and\n"
    "the working folder from the JSON object that the agent gives on standard input or as the last "
    "argument.\n"
    "Succeeds, and says nothing, also when Vigilo does not run.\n";

struct Arguments {
  std::string_view agent;
  std::string_view state;
  std::string_view sessionId;
  std::string_view object;  // a JSON object in the last place
  bool wantsHelp = false;
  bool wantsVersion = false;
};

Arguments parse(int argc, char** argv) {
  Arguments result;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    const std::string_view next = i + 1 < argc ? argv[i + 1] : "";
    std::string_view* value = nullptr;
    if (argument == "--agent") value = &result.agent;
    if (argument == "--state") value = &result.state;
    if (argument == "--session-id") value = &result.sessionId;
    if (value != nullptr) {
      *value = next;
      ++i;
    } else if (argument == "--help") {
      result.wantsHelp = true;
    } else if (argument == "--version") {
      result.wantsVersion = true;
    } else if (i == argc - 1 && !argument.empty() && argument.front() == '{') {
      result.object = argument;
    }
  }
  return result;
}

void print(int fd, std::string_view text) {
  // Nobody is left to be told that this failed.
  (void)!::write(fd, text.data(), text.size());
}

timespec now(clockid_t clock) {
  timespec time{};
  ::clock_gettime(clock, &time);
  return time;
}

long long milliseconds() {
  const timespec time = now(CLOCK_MONOTONIC);
  return time.tv_sec * 1000LL + time.tv_nsec / 1'000'000;
}

// Whether somebody may write to standard input later: the end of a pipe or a socket is told when nobody can.
bool mayBeWrittenTo() {
  struct stat found {};
  return ::fstat(STDIN_FILENO, &found) == 0 && (S_ISFIFO(found.st_mode) || S_ISSOCK(found.st_mode));
}

// Reads standard input until the object has ended, so that no agent meets a closed pipe while it writes, and
// until `deadline` at most: a busy machine may keep an agent, or a wrapper around the hook, from writing for
// long. Without waiting at all when `mayWait` is false.
void readStandardInput(HookInput& input, bool mayWait, long long deadline) {
  if (::isatty(STDIN_FILENO)) return;
  mayWait = mayWait && mayBeWrittenTo();
  char block[32768];
  while (!input.isComplete()) {
    const long long left = deadline - milliseconds();
    pollfd entry{STDIN_FILENO, POLLIN, 0};
    if (left <= 0 || ::poll(&entry, 1, mayWait ? static_cast<int>(left) : 0) <= 0) return;
    const ssize_t count = ::read(STDIN_FILENO, block, sizeof block);
    if (count <= 0) return;
    input.feed({block, static_cast<std::size_t>(count)});
  }
}

void sendEvent(const Arguments& arguments) {
  const long long begin = milliseconds();
  HookInput input;
  EventText text;
  if (arguments.object.empty()) {
    readStandardInput(input, arguments.sessionId.empty(), begin + inputLimitMs);
  } else {
    input.feed(arguments.object);
  }
  const timespec time = now(CLOCK_REALTIME);
  EventParts parts;
  parts.agent = arguments.agent;
  parts.sessionId = arguments.sessionId.empty() ? input.sessionId() : arguments.sessionId;
  // This notification comes at the end of a turn, under whatever state its one command line names.
  parts.state = input.type() == "agent-turn-complete" ? "idle" : arguments.state;
  parts.cwd = input.workingFolder();
  parts.seconds = time.tv_sec;
  parts.microseconds = time.tv_nsec / 1000;
  writeEvent(parts, text);
  char path[longestSocketPath + 1];
  const long long left = (begin + wholeLimitMs - milliseconds()) / 2;
  sendToUnixSocket(hookSocketPath(path), text.view(),
                   static_cast<int>(left < 1               ? 1
                                    : left < socketLimitMs ? left
                                                           : socketLimitMs));
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments = parse(argc, argv);
  if (arguments.wantsHelp || arguments.wantsVersion) {
    print(STDOUT_FILENO, arguments.wantsHelp ? usage : "vigilo-relay " VIGILO_VERSION "\n");
    return 0;
  }
  if (arguments.agent.empty() || arguments.state.empty()) {
    print(STDERR_FILENO, "vigilo-relay: --agent and --state are needed; see --help\n");
    return 1;
  }
  sendEvent(arguments);
  return 0;
}
