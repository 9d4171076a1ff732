#include "agents/ProcessMonitor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/TempFolder.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

class FakeProcesses final : public ProcessTable {
 public:
  std::optional<std::vector<ProcessLine>> read() override { return lines; }
  std::optional<Date> startedAt(std::int32_t) override { return started; }
  std::optional<Date> youngestChildStartedAt(std::int32_t) override { return child; }

  std::optional<std::vector<ProcessLine>> lines = std::vector<ProcessLine>();
  std::optional<Date> started, child;
};

class FakeApplications final : public RunningApplications {
 public:
  std::vector<RunningApplication> list() override { return applications; }
  std::vector<RunningApplication> applications;
};

class ProcessMonitorTest : public testing::Test {
 protected:
  // "claude 4242 working claude -p x"
  std::vector<std::string> scan() {
    std::vector<std::string> found;
    for (const auto& match : monitor.scanProcesses()) {
      found.push_back(std::string(rawValue(match.agent)) + " " + std::to_string(match.pid) +
                      (match.isWorking ? " working " : " idle ") + match.command);
    }
    return found;
  }
  void write(const std::string& path, double secondsAgo) {
    home.write(path, "{}\n");
    setAge(path, secondsAgo);
  }
  void setAge(const std::string& path, double secondsAgo) {
    const timespec at{static_cast<time_t>((time.now() - secondsAgo).unixSeconds()), 0};
    const timespec times[] = {at, at};
    ::utimensat(AT_FDCWD, home.path(path).c_str(), times, 0);
  }
  bool bareAgentWorks(const char* command) {
    processes.lines = {{{4242, command}}};
    return monitor.scanProcesses().at(0).isWorking;
  }

  test::VirtualTime time;
  test::TempFolder home;
  FakeProcesses processes;
  FakeApplications applications;
  std::unique_ptr<Queue> queue = time.queue(ProcessMonitor::queueLabel);
  ProcessMonitor monitor{*queue, time.clock(), {Directories::below(home.path()), processes, applications}};
};

using Found = std::vector<std::string>;

TEST_F(ProcessMonitorTest, ListsAntigravityThenTheEditorsThenTheProcesses) {
  applications.applications = {{7, "CURSOR (beta)", ""},
                               {8, "Files", "org.example.windsurf"},
                               {9, "", "com.cursor.app"},
                               {10, "Files", "org.example.Files"},
                               {11, "Google AntiGravity", ""}};
  processes.lines = {{{20, "aider"},
                      {static_cast<std::int32_t>(::getpid()), "claude -p x"},
                      {30, "vim"},
                      {21, "claude -p x"}}};
  EXPECT_EQ(scan(), (Found{"antigravity 11 idle Antigravity IDE (Idle)", "cursor 7 idle Cursor IDE",
                           "windsurf 8 idle Windsurf IDE", "aider 20 working aider",
                           "claude 21 working claude -p x"}));
  processes.lines.reset();
  applications.applications.clear();
  EXPECT_EQ(scan(), Found{}) << "a table that cannot be read adds nothing";
}

TEST_F(ProcessMonitorTest, AntigravityIsJudgedByItsNewestTranscripts) {
  applications.applications = {{11, "Antigravity", "antigravity"}};
  const auto conversation = [this](const std::string& name, double transcriptAge, double folderAge) {
    const std::string folder = ".gemini/antigravity/brain/" + name;
    write(folder + "/.system_generated/logs/transcript.jsonl", transcriptAge);
    setAge(folder, folderAge);
  };
  const auto description = [this] { return monitor.scanProcesses().at(0).command; };
  EXPECT_EQ(description(), "Antigravity IDE (Idle)") << "without a brain folder";
  conversation("old", 180, 10);
  EXPECT_EQ(description(), "Antigravity IDE (Idle)");
  home.write(".gemini/antigravity/brain/empty/notes.txt", "");
  conversation("waiting", 100, 20);
  EXPECT_EQ(scan(), Found{"antigravity 11 idle Antigravity IDE (Waiting)"});
  conversation("working", 10, 30);
  EXPECT_EQ(description(), "Antigravity IDE (Waiting)") << "the newer conversation decides";
  setAge(".gemini/antigravity/brain/working", 15);
  EXPECT_EQ(scan(), Found{"antigravity 11 working Antigravity Agent (Active)"});
  EXPECT_TRUE(ProcessMonitor::checkAntigravityWorkingState(applications.applications, home.path(), time.now())
                  .isWorking);
  for (int i = 0; i < 5; ++i) conversation("newer" + std::to_string(i), 500, 1);
  conversation(".hidden", 1, 0);
  EXPECT_EQ(description(), "Antigravity IDE (Idle)")
      << "only five conversations count, and none that is hidden";
  EXPECT_EQ(ProcessMonitor::checkAntigravityWorkingState({}, home.path(), time.now()),
            (ProcessMonitor::AntigravityState{false, false, false, "Not running"}));
}

TEST_F(ProcessMonitorTest, ABareAgentWorksWhileItsLogsChangeOrItHasAYoungChild) {
  write(".claude/projects/-proj/old.jsonl", 1000);
  EXPECT_FALSE(bareAgentWorks("claude"));
  processes.child = time.now() - 899;
  EXPECT_TRUE(bareAgentWorks("claude"));
  processes.child = time.now() - 900;
  EXPECT_FALSE(bareAgentWorks("gemini"));

  // A log that begins to change is found within the search interval, and stays fresh for three minutes.
  write(".claude/projects/-proj/a/b.jsonl", 0);
  time.advance(AgentLogWatch::searchIntervalSeconds);
  EXPECT_TRUE(bareAgentWorks("claude"));
  time.advance(179 - AgentLogWatch::searchIntervalSeconds);
  EXPECT_TRUE(bareAgentWorks("claude"));
  EXPECT_FALSE(bareAgentWorks("gemini")) << "another agent's logs say nothing";
  time.advance(1);
  EXPECT_FALSE(bareAgentWorks("claude"));
  setAge(".claude/projects/-proj/a/b.jsonl", 0);
  EXPECT_TRUE(bareAgentWorks("claude")) << "the newest file is looked at every time";
  setAge(".claude/projects/-proj/a/b.jsonl", -1000);
  EXPECT_FALSE(bareAgentWorks("claude")) << "dated in the future";

  write(".gemini/tmp/proj/logs.jsonl", 0);
  time.advance(AgentLogWatch::searchIntervalSeconds);
  EXPECT_FALSE(bareAgentWorks("gemini"));
  write(".gemini/tmp/proj/chats/session-1.jsonl", 0);
  time.advance(AgentLogWatch::searchIntervalSeconds);
  EXPECT_TRUE(bareAgentWorks("gemini"));
}

TEST_F(ProcessMonitorTest, ScansAtOnceAndThenAtTheIntervalUntilItIsStopped) {
  std::vector<Date> scans;
  monitor.onProcessesUpdated([&](const std::vector<ProcessMatch>& matches) {
    EXPECT_EQ(matches.size(), 1u);
    scans.push_back(time.now());
  });
  processes.lines = {{{20, "aider"}}};
  const Date start = time.now();
  monitor.start(1);
  time.advance(2.5);
  EXPECT_EQ(scans, (std::vector<Date>{start, start + 1, start + 2}));
  monitor.stop();
  time.advance(10);
  EXPECT_EQ(scans.size(), 3u);
}

}  // namespace
}  // namespace vigilo
