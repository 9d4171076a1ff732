#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "support/UniqueFd.h"
#include "tests/support/TempFolder.h"
#include "usage/UsageStore.h"

namespace vigilo {
namespace {

bool anywhere(const std::string&) {
  return true;
}

UsageEvent event(int number) {
  return UsageEvent::make({.id = std::string(2000, 'x'),
                           .agentType = AgentType::claude,
                           .sessionId = "s" + std::to_string(number % 5),
                           .turnId = std::to_string(number),
                           .inputTokens = 1,
                           .timestamp = {static_cast<double>(number)},
                           .source = "test"});
}

// Records events from `first` on until it is killed, and says so through the pipe after each.
[[noreturn]] void recordUntilKilled(const Directories& directories, int first, int answers) {
  UsageStore store(directories, anywhere, Date::now);
  for (int number = first;; ++number) {
    if (!store.record(event(number)) || ::write(answers, &number, sizeof number) != sizeof number) ::_exit(1);
  }
}

// The last number that came through the pipe.
int lastAnswer(int answers, int otherwise) {
  int number = otherwise;
  for (int next; ::read(answers, &next, sizeof next) == sizeof next;) number = next;
  return number;
}

// The kill test's rounds: some dozens, or as many as VIGILO_KILLS says.
int roundsToRun() {
  const char* asked = std::getenv("VIGILO_KILLS");
  return asked != nullptr ? std::atoi(asked) : 40;
}

TEST(UsageStoreKill, FileAlwaysHoldsEveryEventWhoseRecordingHadReturned) {
  const test::TempFolder home;
  const auto directories = Directories::below(home.path());
  std::minstd_rand random(20261121);
  int recorded = -1;  // known to be
  for (int round = 0; round < roundsToRun(); ++round) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    UniqueFd reading(ends[0]);
    UniqueFd writing(ends[1]);
    const pid_t child = ::fork();
    if (child == 0) recordUntilKilled(directories, recorded + 1, writing.get());
    writing.reset();
    // Once it is at work, at any moment of a recording.
    int first = 0;
    ASSERT_EQ(::read(reading.get(), &first, sizeof first), static_cast<ssize_t>(sizeof first));
    ::usleep(static_cast<useconds_t>(random() % 3000));
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    recorded = lastAnswer(reading.get(), first);

    UsageStore store(directories, anywhere, Date::now);
    const auto events = store.allEvents();
    // One more may be there: saved, and killed before it could say so.
    ASSERT_GE(static_cast<int>(events.size()), recorded + 1) << "round " << round;
    ASSERT_LE(static_cast<int>(events.size()), recorded + 2) << "round " << round;
    for (std::size_t i = 0; i < events.size(); ++i) {
      ASSERT_EQ(events[i], event(static_cast<int>(i))) << "round " << round;
    }
    recorded = static_cast<int>(events.size()) - 1;
    // Small and without a journal at first, then through some foldings.
    if (recorded > 900) {
      store.reset();
      recorded = -1;
    }
    // Neither an unreadable file nor a temporary one is left.
    for (const auto& entry : std::filesystem::directory_iterator(directories.vigilo())) {
      const std::string name = entry.path().filename().string();
      ASSERT_TRUE(name == "usage_store.json" || name == "usage_store.json.journal") << name;
    }
  }
}

}  // namespace
}  // namespace vigilo
