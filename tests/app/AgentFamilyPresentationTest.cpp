#include "app/AgentFamilyPresentation.h"

#include <gtest/gtest.h>

#include "app/VigiloVisualState.h"

namespace vigilo {
namespace {

using enum AgentState;
using enum AgentType;

constexpr Date now = Date::fromUnix(1795262400);

AgentSession hookSession(AgentType agent, AgentState state, double secondsAgo, const std::string& id,
                         std::optional<std::int32_t> pid = {}, const std::string& host = "Terminal") {
  return {.id = id,
          .agentType = agent,
          .state = state,
          .startedAt = now - secondsAgo - 60,
          .lastEventAt = now - secondsAgo,
          .pid = pid,
          .hostAppName = host,
          .integrationType = defaultIntegration(agent),
          .confidence = 1};
}

AgentSession processSession(AgentType agent, AgentState state, std::int32_t pid) {
  auto session =
      hookSession(agent, state, 0, "proc-" + std::string(rawValue(agent)) + "-" + std::to_string(pid), pid);
  session.integrationType = IntegrationType::process;
  return session;
}

std::vector<AgentFamilyPresentation> families(const std::vector<AgentSession>& sessions) {
  return AgentFamilyPresentation::buildFamilies(sessions, {}, now);
}

std::vector<std::string> ids(const auto& list) {
  std::vector<std::string> result;
  for (const auto& entry : list) result.push_back(entry.id);
  return result;
}

TEST(AgentFamilies, StandWorkingFirstThenWaitingThenByTheirNewestEvent) {
  const auto list = families({hookSession(aider, idle, 5, "a"), hookSession(codex, waiting, 1, "w"),
                              hookSession(gemini, completed, 2, "g"), hookSession(claude, working, 800, "c1"),
                              hookSession(opencode, working, 3, "o"), hookSession(claude, idle, 700, "c2")});
  EXPECT_EQ(ids(list), (std::vector<std::string>{"opencode", "claude", "codex", "gemini", "aider"}));
  EXPECT_EQ(ids(list[1].sessions), (std::vector<std::string>{"c1", "c2"}));
}

TEST(AgentFamilies, ASilentSessionIsShownForAnHourAndAnActiveOneAlways) {
  const auto list =
      families({hookSession(claude, idle, 3599, "fresh"), hookSession(claude, idle, 3600, "old"),
                hookSession(claude, working, 5000, "active"), hookSession(codex, completed, 4000, "gone")});
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(ids(list[0].sessions), (std::vector<std::string>{"active", "fresh"}));
}

TEST(AgentFamilies, GroupByTheApplicationAroundThem) {
  const auto list = families({hookSession(claude, idle, 1, "1", {}, "Terminal"),
                              hookSession(claude, working, 9, "2", {}, "Cursor"),
                              hookSession(claude, idle, 5, "3", {}, "Terminal")});
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(list[0].hostCount, 2);
  EXPECT_EQ(ids(list[0].hosts), (std::vector<std::string>{"claude/Cursor", "claude/Terminal"}));
  EXPECT_EQ(ids(list[0].hosts[1].sessions), (std::vector<std::string>{"1", "3"}));
}

TEST(AgentFamilies, CountHookSessionsAndProcessesSeparately) {
  const std::vector<AgentSession> three = {processSession(claude, working, 1),
                                           processSession(claude, idle, 2), processSession(claude, idle, 3)};
  struct Row {
    std::vector<AgentSession> sessions;
    const char* subtitle;
  };
  const auto with = [&three](std::vector<AgentSession> more) {
    more.insert(more.end(), three.begin(), three.end());
    return more;
  };
  const Row rows[] = {
      {{hookSession(claude, idle, 1, "h")}, "Idle"},
      {{processSession(claude, idle, 7)}, "1 process detected · Idle"},
      {{processSession(claude, idle, 7), processSession(claude, idle, 8)}, "2 processes detected · Idle"},
      {{hookSession(claude, working, 1, "h")}, "1 session active"},
      {with({hookSession(claude, working, 1, "h")}), "1 session active (3 processes)"},
      {with({hookSession(claude, working, 1, "h", 2)}), "1 session active (3 processes)"},
      {three, "3 sessions active"},
      {with({hookSession(claude, waiting, 1, "h"), hookSession(claude, error, 1, "i")}),
       "2 sessions active (3 processes)"},
      {{hookSession(cursor, working, 1, "proc-mine"), processSession(cursor, working, 4)},
       "1 session active"},
  };
  for (const auto& row : rows) {
    const auto list = families(row.sessions);
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0].summarySubtitle(), row.subtitle) << list[0].logicalSessionCount;
    EXPECT_EQ(list[0].sessionCount, static_cast<int>(row.sessions.size()));
  }
}

TEST(AgentFamilies, SayOfTheBudgetOnlyWhatIsKnown) {
  ProviderBudgetReport report;
  report.agentType = claude;
  const auto line = [&report] {
    return AgentFamilyPresentation::buildFamilies({hookSession(claude, idle, 1, "h")}, {{claude, report}},
                                                  now)
        .front()
        .budgetSummaryLine();
  };
  EXPECT_EQ(line(), std::nullopt);
  report.cost = CostBudget{1.239, true, 143};
  EXPECT_EQ(line(), "≥ $1.24, 143 turns without a price");
  report.cost = CostBudget{1.239, true};
  EXPECT_EQ(line(), "$1.24");
  report.quota = BudgetMetric<AccountQuotaBudget>::known(AccountQuotaBudget::ofUsedPercent(9.4), 1, "codex");
  EXPECT_EQ(line(), "91% quota left · $1.24");
  report.context = BudgetMetric<ContextBudget>::known(ContextBudget::of(200, 76), 1, "claude");
  EXPECT_EQ(line(), "62% context left · 91% quota left · $1.24");
  report.context = BudgetMetric<ContextBudget>::known(ContextBudget::of(200, 900), 1, "claude");
  EXPECT_EQ(line(), "0% context left · 91% quota left · $1.24");
}

TEST(VisualState, IsThatOfTheMostUrgentSessionAndAnErrorUnderAnyBlock) {
  const WakeDecision release = WakeDecision::Release{"No active agent sessions"};
  struct Row {
    std::vector<AgentState> states;
    VigiloVisualState expected;
  };
  const Row rows[] = {{{}, VigiloVisualState::idle},
                      {{stale, unknown, idle}, VigiloVisualState::idle},
                      {{stale, completed}, VigiloVisualState::completed},
                      {{completed, error}, VigiloVisualState::error},
                      {{completed, waiting, error}, VigiloVisualState::waiting},
                      {{waiting, completed, working}, VigiloVisualState::working}};
  for (const auto& row : rows) {
    std::vector<AgentSession> sessions;
    for (const AgentState state : row.states) sessions.push_back(hookSession(claude, state, 1, "s"));
    EXPECT_EQ(aggregateVisualState(sessions, release), row.expected);
    EXPECT_EQ(aggregateVisualState(sessions, WakeDecision::Hold{"x", 1, true}), row.expected);
    EXPECT_EQ(aggregateVisualState(sessions, WakeDecision::Blocked{SafetyBlock::paused}),
              VigiloVisualState::error);
  }
}

}  // namespace
}  // namespace vigilo
