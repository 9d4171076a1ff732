#include "support/Subprocess.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;

std::optional<SubprocessResult> shell(const std::string& script, SubprocessOptions options) {
  return runProgram("/bin/sh", {"-c", script}, options);
}

TEST(Subprocess, TellsWhatAProgramPrintedAndHowItEnded) {
  const auto result = shell("printf 'a\\nb'; exit 3", {.captureOutput = true});
  ASSERT_TRUE(result);
  EXPECT_EQ(result->standardOutput, "a\nb");
  EXPECT_EQ(result->exitStatus, 3);
  EXPECT_EQ(shell("kill -TERM $$", {})->exitStatus, 128 + SIGTERM);
  EXPECT_FALSE(runProgram("/nonexistent/program", {}, {.captureOutput = true}));
}

TEST(Subprocess, GivesTheProgramTheEnvironmentWithTheDifferences) {
  ::setenv("COLUMNS", "20", 1);
  const auto print = [](SubprocessOptions options) {
    options.captureOutput = true;
    return shell("echo ${COLUMNS-none} $HOME", std::move(options))->standardOutput;
  };
  EXPECT_EQ(print({.environment = {{"COLUMNS", std::nullopt}, {"HOME", "/elsewhere"}}}), "none /elsewhere\n");
  EXPECT_TRUE(print({}).starts_with("20 "));
  ::unsetenv("COLUMNS");
}

TEST(Subprocess, KillsWhatTakesTooLongWithAllThatItStarted) {
  const test::TempFolder folder;
  for (const char* script : {"sleep 60 & echo $! >pid; wait", "sleep 60 & echo $! >pid; exec >&-; wait"}) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(shell("cd " + folder.path() + "; " + script, {.captureOutput = true, .timeLimit = 500ms}));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
    const std::string started = "/proc/" + std::to_string(std::stoi(folder.read("pid"))) + "/cmdline";
    // Whoever inherits it may leave it as a zombie, which has no command line.
    const auto isGone = [&] { return std::ifstream(started).peek() == std::ifstream::traits_type::eof(); };
    for (int i = 0; i < 1000 && !isGone(); ++i) ::poll(nullptr, 0, 10);
    EXPECT_TRUE(isGone());
  }
  const auto result = shell("echo done", {.captureOutput = true, .timeLimit = 60s});
  EXPECT_EQ(result->standardOutput, "done\n") << "who is in time is not touched";
}

}  // namespace
}  // namespace vigilo
