#include "agents/NamelessSession.h"

#include <gtest/gtest.h>

#include "agents/AgentStateCoordinator.h"
#include "tests/support/VirtualTime.h"

namespace vigilo {
namespace {

using enum AgentState;
using States = std::map<std::string, AgentState>;

class NamelessSession : public testing::Test {
 protected:
  struct Facts {
    std::optional<std::string> cwd = {};
    std::optional<std::int32_t> pid = {};
    AgentType agent = AgentType::claude;
  };

  // As the host takes an event in.
  void event(AgentState state, const std::string& id, const Facts& facts) {
    HookEvent event = HookEvent::of(facts.agent, state, time.now(), id, facts.pid);
    event.cwd = facts.cwd;
    const auto session = coordinator.sessionOf(event);
    if (!session) return;
    event.sessionId = *session;
    coordinator.didReceiveHookEvent(event);
  }
  void event(AgentState state, const std::string& id = "") { event(state, id, {}); }
  States states() const {
    States result;
    for (const auto& [id, session] : *coordinator.sessions()) result[id] = session.state;
    return result;
  }

  test::VirtualTime time;
  AgentStateCoordinator coordinator{time.clock()};
};

TEST_F(NamelessSession, AnEventWithoutAnIdIsThatOfTheOnlySession) {
  event(working, "a");
  event(working);
  EXPECT_EQ(states(), (States{{"a", working}}));
  event(idle);
  EXPECT_EQ(states(), (States{{"a", idle}}));
  event(working, "", {.agent = AgentType::codex});
  EXPECT_EQ(states(), (States{{"a", idle}, {"codex-default", working}})) << "another agent's";
}

TEST_F(NamelessSession, OfSeveralTheOneThatFitsCounts) {
  event(working, "a", {.cwd = "/a"});
  event(working, "b", {.cwd = "/b", .pid = 5});
  event(idle);
  event(idle, "", {.cwd = "/c"});
  event(working, "", {.cwd = "/c", .pid = 7});
  EXPECT_EQ(states(), (States{{"a", working}, {"b", working}})) << "nobody can say whose they are";
  event(idle, "", {.cwd = "/a"});
  EXPECT_EQ(states(), (States{{"a", idle}, {"b", working}}));
  event(waiting, "", {.cwd = "/b", .pid = 5});
  EXPECT_EQ(states(), (States{{"a", idle}, {"b", waiting}}));
}

TEST_F(NamelessSession, ASessionWithoutAnIdIsAbsorbedWhenNamesCome) {
  event(working);
  event(working, "", {.pid = 5});
  EXPECT_EQ(states(), (States{{"claude-5", working}, {"claude-default", working}}));
  event(idle, "a", {.pid = 5});
  EXPECT_EQ(states(), (States{{"a", idle}}));
  EXPECT_EQ(coordinator.activeWorkingCount(), 0);
  EXPECT_EQ(coordinator.lastActiveAgentStoppedAt(), time.now()) << "the debounce begins with its end";
}

TEST_F(NamelessSession, OneInAnotherFolderStaysAndHearsItsOwnEvents) {
  event(working, "", {.cwd = "/other"});
  event(working, "a", {.cwd = "/a"});
  event(idle, "", {.cwd = "/other"});
  EXPECT_EQ(states(), (States{{"a", working}, {"claude-default", idle}}));
}

TEST_F(NamelessSession, SessionsThatWentStaleOrAreProcessesAreNobodysNames) {
  event(working, "a");
  coordinator.registerProcessSession(AgentType::claude, 9, true, 0.6);
  time.advance(901);
  coordinator.sweepStaleSessions(time.now());
  event(working);
  EXPECT_EQ(states(), (States{{"a", stale}, {"claude-default", working}, {"proc-claude-9", stale}}));
}

TEST_F(NamelessSession, CustomAgentsHaveNothingInCommon) {
  event(working, "a", {.agent = AgentType::custom});
  event(working, "", {.agent = AgentType::custom});
  event(idle, "a", {.agent = AgentType::custom});
  EXPECT_EQ(states(), (States{{"a", idle}, {"custom-default", working}}));
}

}  // namespace
}  // namespace vigilo
