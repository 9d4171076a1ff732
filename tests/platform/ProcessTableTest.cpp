#include "platform/ProcessTable.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>

#include "platform/PsProcessTable.h"
#include "platform/linux/LinuxProcessTable.h"
#include "platform/linux/ProcProcessTable.h"
#include "tests/platform/ProcFixture.h"
#include "tests/support/MemorySink.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Lines = std::vector<ProcessLine>;

// A process that waits, under any arguments, for as long as this object lives.
class Waiting {
 public:
  // Returns once the process is the one that it is to be.
  explicit Waiting(std::vector<std::string> arguments) {
    int input[2], begun[2];
    if (::pipe2(input, O_CLOEXEC) != 0 || ::pipe2(begun, O_CLOEXEC) != 0) ::abort();
    std::vector<char*> argv;
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(input[0], STDIN_FILENO);
      ::execv("/bin/cat", argv.data());
      ::_exit(1);
    }
    ::close(input[0]);
    ::close(begun[1]);
    input_.reset(input[1]);
    const UniqueFd execution(begun[0]);
    char nothing;
    (void)!::read(begun[0], &nothing, 1);  // its end comes with the exec
  }
  ~Waiting() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  pid_t pid() const { return pid_; }
  void becomeZombie() {
    ::kill(pid_, SIGKILL);
    siginfo_t info;
    ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT);
  }

 private:
  pid_t pid_ = 0;
  UniqueFd input_;
};

bool isIn(const Lines& lines, const ProcessLine& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

const ProcessLine* lineOf(const Lines& lines, pid_t pid) {
  const auto found =
      std::find_if(lines.begin(), lines.end(), [pid](const auto& line) { return line.pid == pid; });
  return found == lines.end() ? nullptr : &*found;
}

bool isAscending(const Lines& lines) {
  return std::is_sorted(lines.begin(), lines.end(),
                        [](const auto& a, const auto& b) { return a.pid < b.pid; });
}

// Processes come and go between two readings. A line that one source showed before and after the other's
// reading must stand in that one; the kernel's workers rename themselves with each piece of work.
void expectSteadyLines(const Lines& before, const Lines& other, const Lines& after) {
  for (const auto& line : before) {
    if (line.command.starts_with("[kworker") || !isIn(after, line)) continue;
    EXPECT_TRUE(isIn(other, line)) << line.pid << " " << line.command.substr(0, 200);
  }
}

// But for controls beyond ASCII, for which newer releases of `ps` print a mark for each byte.
TEST(ProcessTable, BothSourcesYieldTheSameLinesOnThisMachine) {
  const std::vector<std::vector<std::string>> commands{
      {"cat", "-", "a\tb", "c\nd", "e\x01-f\x7f", "\xC3\xBC \xE6\x97\xA5\xF0\x9F\x98\x80", "", ""},
      {"cat", "-", "\xE2\x80\xAE\xCD\xB8", "\xFF\xFE bad \xE6\x97"},
      {" cat", "-", " ", "x  "},
      {"cat", "-", std::string(100'000, 'x'), std::string(100'000, 'y')},
      {"cat", "-", std::string(90'000, 'x'), std::string(81'920, '\xC3')}};
  std::vector<std::unique_ptr<Waiting>> processes;
  for (const auto& command : commands) processes.push_back(std::make_unique<Waiting>(command));
  Waiting zombie({"cat"});
  zombie.becomeZombie();
  PsProcessTable ps;
  ProcProcessTable proc;

  const Lines procBefore = proc.read().value();
  const Lines psBefore = ps.read().value();
  const Lines procAfter = proc.read().value();
  const Lines psAfter = ps.read().value();
  expectSteadyLines(procBefore, psBefore, procAfter);
  expectSteadyLines(psBefore, procAfter, psAfter);
  EXPECT_TRUE(isAscending(procBefore) && isAscending(psBefore));
  for (const auto& process : processes) {
    ASSERT_NE(lineOf(procBefore, process->pid()), nullptr);
    EXPECT_TRUE(isIn(psBefore, *lineOf(procBefore, process->pid())));
  }
  EXPECT_EQ(lineOf(procBefore, zombie.pid()), nullptr);
  EXPECT_EQ(lineOf(psBefore, zombie.pid()), nullptr);
}

// `ps` makes its first column as wide as the machine's largest pid, and cuts the line, not the command.
TEST(ProcessTable, ACommandEndsAtTheSamePlaceHoweverWideThePidsAre) {
  const std::string longCommand(longestCommand - 2, 'x');
  for (const std::string tail :
       {"yyy", "\xE6\x97\xA5\xE6\x97\xA5\xE6\x97\xA5", "y    y", "y\xC3\xBC\xC3\xBC"}) {
    test::ProcFixture proc;
    proc.add(7, {.arguments = longCommand + tail + std::string(30'000, 'z')});
    const Lines expected = ProcProcessTable(proc.path()).read().value();
    for (const char* pid : {"    7 ", "      7 ", "         7 "}) {
      const std::string line = pid + longCommand + tail + std::string(30'000, 'z');
      EXPECT_EQ(parseProcessLine(std::string_view(line).substr(0, 128 * 1024)), expected.front()) << tail;
    }
  }
}

TEST(ProcProcessTable, NamesWhatHasNoArguments) {
  test::ProcFixture proc;
  ProcProcessTable table(proc.path());
  EXPECT_EQ(table.read(), std::nullopt) << "nothing to read: another source is to be asked";
  proc.add(2, {.name = "kworker/0:0-ev) (", .isKernelThread = true});
  proc.add(10, {.arguments = "claude\0\0\0"s});
  proc.add(9, {.arguments = "  "});
  proc.add(300, {.name = "codex", .state = 'Z'});
  proc.add(301, {.name = "codex", .state = 'X'});
  proc.write("self/cmdline", "not a pid");
  EXPECT_EQ(table.read(), (Lines{{2, "[kworker/0:0-ev) (]"}, {10, "claude"}}));
  EXPECT_EQ(table.read()->size(), 2u) << "nor later";
}

TEST(ProcProcessTable, SeesWhatAProcessBecomes) {
  test::ProcFixture proc;
  ProcProcessTable table(proc.path());
  const std::string longCommand(10'000, 'x');
  const std::string launcher = "/opt/launcher";
  proc.add(2, {.name = "kthreadd", .isKernelThread = true});
  proc.add(10, {.arguments = "-bash\0"s});
  proc.add(11, {.arguments = longCommand});
  proc.add(12, {.arguments = launcher});
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(table.read(), (Lines{{2, "[kthreadd]"}, {10, "-bash"}, {11, longCommand}, {12, launcher}}));
  }
  // Old ones: a shell within two readings, another program within ten.
  proc.add(10, {.arguments = "claude\0"s});
  proc.add(12, {.arguments = "gemini\0"s});
  table.read();
  EXPECT_TRUE(isIn(table.read().value(), {10, "claude"}));
  for (int i = 3; i < 10; ++i) table.read();
  EXPECT_TRUE(isIn(table.read().value(), {12, "gemini"}));
  // One that somebody asked about, at once: it may be a zombie by now.
  table.startedAt(12);
  proc.add(12, {.name = "gemini", .state = 'Z'});
  EXPECT_EQ(lineOf(table.read().value(), 12), nullptr);
  // Young ones, and other processes under the same pids, at once.
  proc.add(13, {.arguments = launcher});
  table.read();
  proc.add(13, {.arguments = "gemini\0"s});
  EXPECT_TRUE(isIn(table.read().value(), {13, "gemini"}));
  proc.remove(2);
  proc.remove(10);
  proc.add(2, {.arguments = "codex\0exec\0"s});
  proc.remove(11);
  proc.remove(12);
  proc.remove(13);
  EXPECT_EQ(table.read(), (Lines{{2, "codex exec"}}));
}

TEST(ProcProcessTable, TellsWhenAProcessAndItsYoungestChildBegan) {
  const test::ProcFixture proc;
  timespec boot{};
  ::clock_gettime(CLOCK_BOOTTIME, &boot);
  const long ticks = ::sysconf(_SC_CLK_TCK);
  const auto startedAgo = [&](long seconds) { return (boot.tv_sec - seconds) * ticks; };
  proc.add(10, {.startTicks = startedAgo(1000)});
  proc.add(11, {.parent = 10, .startTicks = startedAgo(200)});
  proc.add(12, {.parent = 10, .startTicks = startedAgo(100)});
  proc.add(13, {.state = 'Z', .parent = 10, .startTicks = startedAgo(50)});
  proc.write("10/task/10/children", "11 13 ");
  proc.write("10/task/15/children", "12 ");
  const Date now = Date::fromUnix(1795262400);
  ProcProcessTable table(proc.path(), [now] { return now; });
  EXPECT_NEAR(now - table.startedAt(10).value(), 1000, 2);
  EXPECT_NEAR(now - table.youngestChildStartedAt(10).value(), 100, 2);
  EXPECT_EQ(table.youngestChildStartedAt(12), std::nullopt);
  EXPECT_EQ(table.startedAt(99), std::nullopt);

  if (::access("/proc/thread-self/children", R_OK) != 0) GTEST_SKIP() << "this kernel lists no children";
  // On this machine, to the hundredth of a second: a child is never older than the moment before its start.
  ProcProcessTable here;
  const Date before = Date::now();
  const Waiting child({"cat"});
  EXPECT_GT(here.youngestChildStartedAt(::getpid()).value(), before);
  EXPECT_LT(here.youngestChildStartedAt(::getpid()).value(), Date::now() + 0.02);
  EXPECT_EQ(here.startedAt(child.pid()).has_value(), true);
}

TEST(PsProcessTable, AToolThatFailsOrHangsCostsOneTimeLimitAMinute) {
  const test::TempFolder folder;
  const auto tool = [&](const std::string& script) {
    folder.write("ps", "#!/bin/sh\n" + script + "\n");
    ::chmod(folder.path("ps").c_str(), 0755);
    return folder.path("ps");
  };
  EXPECT_EQ(PsProcessTable(tool("echo '  PID COMMAND'; echo \"    7 $* $COLUMNS $PS_FORMAT\"")).read(),
            (Lines{{7, "-axo pid,command"}}));
  for (const char* script : {"exit 1", "printf '7 a\\377b\\n'", "exec sleep 60"}) {
    const test::MemorySink log;
    PsProcessTable table(tool(script), 200ms);
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 100; ++i) EXPECT_EQ(table.read(), std::nullopt) << script;
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
  }
}

TEST(LinuxProcessTable, AsksTheToolForAsLongAsProcGivesNothing) {
  const test::MemorySink log;
  const test::ProcFixture proc;
  LinuxProcessTable table(std::make_unique<ProcProcessTable>(proc.path()),
                          std::make_unique<PsProcessTable>());
  EXPECT_NE(lineOf(table.read().value(), ::getpid()), nullptr);
  proc.add(10, {.arguments = "claude"});
  EXPECT_EQ(table.read(), (Lines{{10, "claude"}}));
}

}  // namespace
}  // namespace vigilo
