#include "agents/AgentModel.h"

#include <gtest/gtest.h>

#include "support/RecordCoder.h"

namespace vigilo {
namespace {

TEST(AgentModel, EffectiveTotalLeavesCachedTokensOut) {
  using Count = std::optional<std::int64_t>;
  struct Case {
    Count input, output, cached, cacheWrite, reasoning, total, expected;
  };
  const Count none;
  for (const auto& c : std::initializer_list<Case>{{none, none, none, none, none, none, none},
                                                   {none, none, 500, 70, none, none, none},
                                                   {10, 20, 500, 70, 3, none, 33},
                                                   {10, none, none, none, none, none, 10},
                                                   {10, -10, none, none, none, none, none},
                                                   {10, 20, 500, 70, 3, 7, 7},
                                                   {10, none, none, none, none, 0, 0}}) {
    const UsageMetrics metrics{c.input, c.output, c.cached, c.cacheWrite, c.reasoning, c.total, none, {}, {}};
    EXPECT_EQ(metrics.effectiveTotalTokens(), c.expected);
  }
}

TEST(AgentModel, ASessionIsCodedWithRawValuesAndWithoutAbsentFields) {
  AgentSession session;
  session.id = "s";
  session.agentType = AgentType::opencode;
  session.state = AgentState::stale;
  session.startedAt = {1};
  session.lastEventAt = {2.5};
  session.integrationType = IntegrationType::lifecycleHook;
  session.confidence = 1;
  EXPECT_EQ(encodeRecord(session),
            R"({"id":"s","agentType":"opencode","state":"stale","startedAt":1.0,"lastEventAt":2.5,)"
            R"("integrationType":"lifecycle","confidence":1.0})");
}

}  // namespace
}  // namespace vigilo
