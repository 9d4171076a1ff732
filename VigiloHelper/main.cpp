#include <sys/stat.h>
#include <sysexits.h>

#include <csignal>
#include <cstdio>
#include <string_view>

#include "HelperDaemon.h"
#include "platform/Platform.h"
#include "support/LogSink.h"

namespace {

constexpr const char* usage =
    "Usage: VigiloHelper [--help | --version]\n"
    "Keeps the machine awake on behalf of vigilo, also with the lid closed. Meant to run as root, as a "
    "service;\n"
    "it needs no arguments.\n";

// The exit status, where there is an argument; -1 to go on.
int answerArguments(int count, char** arguments) {
  if (count < 2) return -1;
  const std::string_view first = arguments[1];
  if (count == 2 && first == "--version") {
    std::puts("VigiloHelper " VIGILO_VERSION);
    return EXIT_SUCCESS;
  }
  const bool asked = count == 2 && first == "--help";
  std::fputs(usage, asked ? stdout : stderr);
  return asked ? EXIT_SUCCESS : EX_USAGE;
}

}  // namespace

int main(int count, char** arguments) {
  if (const int status = answerArguments(count, arguments); status >= 0) return status;
  // The folders and files that it makes have the permissions that it says, whoever started it; and a log pipe
  // that closes must not end the hold.
  ::umask(022);
  std::signal(SIGPIPE, SIG_IGN);
  const auto sink = vigilo::makeSystemLogSink("VigiloHelper");
  vigilo::installLogSink(sink.get());
  // Nobody serves this queue: the main thread accepts.
  const auto mainQueue = vigilo::AsioQueue::mainQueue();
  vigilo::HelperDaemon daemon(*mainQueue);
  return daemon.start();
}
