// The whole-process time of vigilo-relay, compared with the least that a static program can do for the same
// exchange (minimal_relay). The two take turns, so that a busy machine slows both. Prints the median of each
// and their ratio, with a host that listens and without one.
//
//   relay_bench [repetitions]        expects both programs beside itself
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "agents/HookEventReceiver.h"
#include "support/AsioQueue.h"
#include "support/HomeFolder.h"

extern char** environ;

namespace {

using namespace vigilo;

struct Program {
  std::vector<std::string> arguments;
  std::string standardInput;  // a file
  std::vector<double> microseconds = {};

  void run() {
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, standardInput.c_str(), O_RDONLY, 0);
    pid_t child;
    const auto begin = std::chrono::steady_clock::now();
    if (::posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ) != 0) ::abort();
    int status = 0;
    ::waitpid(child, &status, 0);
    const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - begin;
    ::posix_spawn_file_actions_destroy(&actions);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) ::abort();
    microseconds.push_back(took.count());
  }

  double median() {
    std::nth_element(microseconds.begin(), microseconds.begin() + static_cast<long>(microseconds.size() / 2),
                     microseconds.end());
    return microseconds[microseconds.size() / 2];
  }
};

void compare(const char* title, Program relay, Program minimal, int repetitions) {
  for (int i = 0; i < repetitions; ++i) {
    // Whoever comes second finds warmer caches: take turns at that, too.
    Program& first = i % 2 == 0 ? relay : minimal;
    Program& second = i % 2 == 0 ? minimal : relay;
    first.run();
    second.run();
  }
  const double relayMedian = relay.median();
  const double minimalMedian = minimal.median();
  std::printf("%-32s relay %6.1f us   minimal %6.1f us   ratio %.3f\n", title, relayMedian, minimalMedian,
              relayMedian / minimalMedian);
}

struct Counter final : HookEventReceiverDelegate {
  void didReceiveHookEvent(const HookEvent&) override { ++count; }
  long count = 0;
};

void writeHookObject(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "w");
  std::fputs(
      R"({"session_id":"c353b3b5-2d00-4904-8d43-cf583e4ec8c1","transcript_path":"/Users/me/.claude/x.jsonl",)"
      R"("cwd":"/Users/me/proj","permission_mode":"default","hook_event_name":"PreToolUse",)"
      R"("tool_name":"Bash","tool_input":{"command":"echo hi","description":"Print a word"}})",
      file);
  std::fclose(file);
}

}  // namespace

int main(int argc, char** argv) {
  const int repetitions = argc > 1 ? std::atoi(argv[1]) : 1000;
  const std::string beside = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  std::string home = "/tmp/vigilo-bench.XXXXXX";
  if (::mkdtemp(home.data()) == nullptr) return 1;
  ::setenv("HOME", home.c_str(), 1);
  const std::string socket = home + std::string(hookSocketBelowHome);
  const std::string object = home + "/hook.json";
  writeHookObject(object);

  const Program relay{{beside + "/vigilo-relay", "--agent", "claude", "--state", "working"}, "/dev/null"};
  const Program relayWithObject{relay.arguments, object};
  const Program minimal{{beside + "/minimal_relay", socket}, "/dev/null"};

  compare("nobody listens", relay, minimal, repetitions);
  const auto queue = AsioQueue::withThread("com.vigilo.hookreceiver");
  const auto counter = std::make_shared<Counter>();
  HookEventReceiver receiver(socket, *queue, Date::now);
  receiver.setDelegate(counter);
  receiver.start();
  compare("host listens", relay, minimal, repetitions);
  compare("host listens, object on stdin", relayWithObject, minimal, repetitions);
  receiver.stop();
  std::printf("events received: %ld of %d\n", counter->count, repetitions * 4);
  std::filesystem::remove_all(home);
  return counter->count == repetitions * 4L ? 0 : 1;
}
