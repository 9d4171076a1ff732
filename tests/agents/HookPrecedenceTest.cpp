#include "agents/HookPrecedence.h"

#include <gtest/gtest.h>

#include "agents/AgentStateCoordinator.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

constexpr double minute = 60, hour = 3600;

struct Report {
  double at;  // seconds since the start of the case
  AgentState state;
  std::string session = "s1";
  AgentType agent = AgentType::claude;
};

struct Case {
  const char* rule;
  std::vector<Report> reports;
  double now;                     // of the scan
  std::optional<double> started;  // the process, seconds since the start of the case
  std::optional<double> child;    // its youngest child
  bool scanned, expected;         // working by the scan, and after the rule
};

// What a host that heard these reports makes of a scan that found one Claude Code process.
bool isWorking(const Case& test) {
  const test::VirtualTime time;
  const Date start = time.now();
  AgentStateCoordinator sessions(time.clock());
  HookPrecedence precedence;
  for (const auto& [at, state, session, agent] : test.reports) {
    const auto event = HookEvent::of(agent, state, start + at, session);
    precedence.note(event);
    sessions.didReceiveHookEvent(event);
  }
  // What an earlier scan found stands in the table, too, and must not count as heard from a hook.
  sessions.registerProcessSession(AgentType::claude, 4242, true, 0.6);
  sessions.sweepStaleSessions(start + test.now);
  sessions.registerProcessSession(AgentType::claude, 4242, true, 0.6);
  std::vector<ProcessMatch> matches{{.agent = AgentType::claude, .pid = 4242, .isWorking = test.scanned}};
  if (test.started) matches[0].startedAt = start + *test.started;
  if (test.child) matches[0].youngestChildStartedAt = start + *test.child;
  precedence.apply(matches, *sessions.sessions(), start + test.now);
  return matches[0].isWorking;
}

TEST(HookPrecedence, HooksThatWereHeardOutrankTheScan) {
  using enum AgentState;
  const std::vector<Report> silent{{10, idle}, {20, working}};
  const Case cases[] = {
      {"never heard: the scan's word stands", {}, 10, 0, {}, true, true},
      {"never heard: also when it says idle", {}, 10, 0, 5, false, false},
      {"heard only as idle", {{0, idle}, {5, completed}}, 10, -5, {}, true, true},
      {"another type's hooks", {{0, working, "s1", AgentType::codex}}, 10, -5, {}, false, false},
      {"a silent tool of a session that has got a name",
       {{0, working, ""}, {1, idle, "s1"}},
       2000,
       -5,
       1,
       true,
       false},
      {"active in the table", {{0, working}}, 10, {}, {}, false, true},
      {"waiting is active", {{0, waiting}}, 10, {}, {}, false, true},
      {"idle after work", {{0, working}, {5, idle}}, 10, -5, {}, true, false},
      {"one of two sessions works",
       {{0, working, "a"}, {5, working, "b"}, {6, idle, "b"}},
       10,
       -5,
       {},
       false,
       true},
      {"silent and stale, without a tool", silent, 20 * minute, 0, {}, true, false},
      {"silent, with a tool", silent, 20 * minute, 0, 21, true, true},
      {"silent, and the child is older than the report", silent, 20 * minute, 0, 19, true, false},
      {"silent, and the process is younger than the report", silent, 20 * minute, 21, 22, true, false},
      {"silent, and nothing is known of the process", silent, 20 * minute, {}, {}, true, false},
      {"silent, but idle was the last word", {{0, working}, {20, idle}}, 20 * minute, -5, 21, true, false},
      {"silent while it waits for its user", {{0, working}, {20, waiting}}, 20 * minute, -5, 21, true, false},
      {"a tool just within six hours", silent, 6 * hour + 20, 0, 21, false, true},
      {"a tool for more than six hours", silent, 6 * hour + 21, 0, 21, true, false},
  };
  for (const Case& test : cases) EXPECT_EQ(isWorking(test), test.expected) << test.rule;
}

TEST(HookPrecedence, RemembersTheLatestOfManySessions) {
  Case test{"", {}, 20 * minute, -hour, 5000, false, true};
  for (std::size_t i = 0; i <= HookPrecedence::mostReports; ++i) {
    test.reports.push_back({static_cast<double>(i) / 1000, AgentState::working, "s" + std::to_string(i)});
  }
  EXPECT_TRUE(isWorking(test));
  // The first of them is forgotten: its going idle changes nothing.
  for (std::size_t i = 1; i <= HookPrecedence::mostReports; ++i) {
    test.reports.push_back({10, AgentState::idle, "s" + std::to_string(i)});
  }
  EXPECT_FALSE(isWorking(test));
}

}  // namespace
}  // namespace vigilo
