#include "usage/CodexUsageProvider.h"

#include <set>

#include "tests/usage/ProviderFixture.h"

namespace vigilo::test {
namespace {

const std::string rollout = ".codex/sessions/2026/11/21/rollout-2026-11-21T06-58-39-01a1.jsonl";

const std::string limits =
    R"("rate_limits":{"limit_id":"codex","primary":{"used_percent":42.5,"window_minutes":300,)"
    R"("resets_at":1795247920},"secondary":{"used_percent":11.0},"plan_type":"plus"})";

std::string counts(int input, int output) {
  return R"({"input_tokens":)" + std::to_string(input) +
         R"(,"cached_input_tokens":800,"cache_write_input_tokens":0,"output_tokens":)" +
         std::to_string(output) + R"(,"reasoning_output_tokens":12,"total_tokens":)" +
         std::to_string(input + output) + "}";
}

std::string tokenCount(int ordinal, const std::string& info, const std::string& rateLimits = limits) {
  return R"({"timestamp":"2026-11-21T06:58:40.211Z","ordinal":)" + std::to_string(ordinal) +
         R"(,"type":"event_msg","payload":{"type":"token_count","info":)" + info + "," + rateLimits + "}}\n";
}

std::string turn(int ordinal, int input, int output) {
  return tokenCount(ordinal, R"({"total_token_usage":)" + counts(9 * input, 9 * output) +
                                 R"(,"last_token_usage":)" + counts(input, output) +
                                 R"(,"model_context_window":2000})");
}

std::string turnContext(const std::string& model) {
  return R"({"ordinal":9,"type":"turn_context","payload":{"cwd":"/Users/me/proj","model":")" + model +
         R"(","collaboration_mode":{"settings":{"model":"nested"}}}})" + "\n";
}

class CodexUsageProviderTest : public ProviderFixture<CodexUsageProvider> {};

TEST_F(CodexUsageProviderTest, ATurnBecomesAnEventAndTheReport) {
  home.write(rollout, turnContext("gpt-4o") +
                          R"({"ordinal":14,"type":"token_usage_record","payload":{"usage":)" + counts(5, 5) +
                          "}}\n" + turn(17, 1700, 45));
  UsageEvent event = pollOne();
  event.id.clear();
  const UsageEvent expected{.agentType = AgentType::codex,
                            .sessionId = "rollout-2026-11-21T06-58-39-01a1",
                            .turnId = "turn_17",
                            .modelId = "gpt-4o",
                            .inputTokens = 1700,
                            .outputTokens = 45,
                            .cachedTokens = 800,
                            .reasoningTokens = 12,
                            .totalTokens = 1745,
                            .contextWindow = 2000,
                            .costEstimateUSD = event.costEstimateUSD,
                            .quotaRemainingPercent = 57.5,
                            .timestamp = time.now(),  // of reading
                            .source = "codex-session-rollout"};
  EXPECT_EQ(event, expected);
  EXPECT_NEAR(event.costEstimateUSD.value_or(0), (1700 * 2.5 + 45 * 10 + 800 * 1.25 + 12 * 10) / 1e6, 1e-12);

  const auto budget = report();
  EXPECT_EQ(budget.context,
            BudgetMetric<ContextBudget>::known(ContextBudget::of(2000, 1745), 1, "codex-rollout"));
  EXPECT_EQ(budget.quota.source(), "codex-rate-limits");
  EXPECT_EQ(budget.quota.value(), (AccountQuotaBudget{.percentageRemaining = 57.5,
                                                      .usedPercent = 42.5,
                                                      .windowMinutes = 300,
                                                      .resetsAt = Date::fromUnix(1795247920),
                                                      .planType = "plus"}));
  EXPECT_EQ(budget.sessionUsage.totalTokens, 1745);
  EXPECT_EQ(budget.modelId, "gpt-4o");
  ASSERT_TRUE(budget.lowBudgetAlert);
  EXPECT_EQ(budget.lowBudgetAlert->metricType, LowBudgetMetricType::context);
}

TEST_F(CodexUsageProviderTest, CumulativeCountsAloneAreAddedAsTheyStand) {
  const std::string cumulative =
      R"({"total_token_usage":)" + counts(100, 20) + R"(,"last_token_usage":null})";
  home.write(rollout, tokenCount(1, cumulative) + tokenCount(2, cumulative) + tokenCount(3, "null"));
  const auto events = poll();
  EXPECT_EQ(turns(events), (std::vector<std::string>{"turn_1", "turn_2"}));
  EXPECT_EQ(events.at(1).totalTokens, 120);
  EXPECT_EQ(events.at(1).contextWindow, 258400);
}

TEST_F(CodexUsageProviderTest, TheTotalIsMadeUpWhereTheLineHasNone) {
  home.write(
      rollout,
      R"({"info":{"last_token_usage":{"input_tokens":7,"output_tokens":3,"reasoning_output_tokens":5}}})"
      "\n"
      R"({"info":{"last_token_usage":{"reasoning_output_tokens":5}}})"
      "\n"
      R"({"info":{"last_token_usage":{}}})"
      "\n");
  const auto events = poll();
  EXPECT_EQ(turns(events), (std::vector<std::string>{"turn_idx_0", "turn_idx_1", "turn_idx_2"}));
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].totalTokens, 10);
  EXPECT_EQ(events[1].totalTokens, 5);
  EXPECT_EQ(events[2].totalTokens, std::nullopt);
}

// As a plain release writes them. Every turn counts once, so its id must not depend on when it was read.
TEST_F(CodexUsageProviderTest, TurnsWithoutAnOrdinalKeepTheirIdsHoweverTheFileIsRead) {
  const std::string unnumbered = R"({"info":{"last_token_usage":{"input_tokens":7}}})";
  std::vector<std::string> lines{turnContext("o1"), "\n", unnumbered + "\n", "rubbish\n",
                                 unnumbered + "\r\n"};
  for (int i = 0; i < 20; ++i) lines.push_back((i % 3 == 0 ? R"({"type":"other"})" : unnumbered) + "\n");
  std::vector<std::string> followed;
  home.write(rollout, "");
  for (const std::string& line : lines) {
    // Also where a line is still being written.
    for (const std::string& part : {line.substr(0, line.size() / 2), line.substr(line.size() / 2)}) {
      append(home.path(rollout), part);
      for (const auto& id : turns(poll())) followed.push_back(id);
    }
  }
  EXPECT_EQ(std::set(followed.begin(), followed.end()).size(), 15u);
  CodexUsageProvider restarted(Directories::below(home.path()), *queue, time.clock());
  EXPECT_EQ(turns(restarted.pollLatestEvents()), followed);
}

TEST_F(CodexUsageProviderTest, EveryFolderThatIsNamedIsRead) {
  home.write(rollout, turn(1, 10, 1));
  home.write("moved/sessions/other.jsonl", turn(1, 20, 1));
  Directories directories = Directories::below(home.path());
  directories.agentFolders.codex = {home.path("moved")};
  CodexUsageProvider both(directories, *queue, time.clock());
  setModified(rollout, 2);
  setModified("moved/sessions/other.jsonl", 1);
  const auto events = both.pollLatestEvents();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].sessionId, "other");
  EXPECT_NE(both.latestBudgetReport()->sessionId, "other") << "the file written last wins";
}

TEST_F(CodexUsageProviderTest, TheModelNamedLastInTheSameFileStandsIn) {
  home.write(rollout, turn(1, 10, 1) + turnContext("o1") + turn(2, 10, 1));
  auto events = poll();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_EQ(events[0].modelId, "gpt-5.6-terra");
  EXPECT_EQ(events[1].modelId, "o1");
  append(home.path(rollout),
         R"({"model":"top","payload":{"model":"","info":{"last_token_usage":{"input_tokens":1}}}})"
         "\n");
  EXPECT_EQ(pollOne().modelId, "top");
  append(home.path(rollout), turn(3, 10, 1));
  EXPECT_EQ(pollOne().modelId, "top");  // known from an earlier poll
  home.write(".codex/sessions/other.jsonl", turn(1, 10, 1));
  EXPECT_EQ(pollOne().modelId, "gpt-5.6-terra");
}

TEST_F(CodexUsageProviderTest, QuotaWithoutUsageIsReportedAndClamped) {
  struct Case {
    const char* primary;
    double remaining;
    std::optional<double> resetsAt;
  };
  const Case cases[] = {{R"({"used_percent":120,"resets_at":5})", 0, 5.0},
                        {R"({"used_percent":-5,"resets_at":5.5})", 100, 5.5},
                        {R"({"used_percent":60.5,"plan_type":"pro","resets_at":"soon"})", 39.5, {}}};
  int index = 0;
  for (const auto& each : cases) {
    home.write(".codex/sessions/" + std::to_string(index++) + ".jsonl",
               tokenCount(1, "null", std::string(R"("rate_limits":{"primary":)") + each.primary + "}"));
    EXPECT_TRUE(poll().empty());
    const auto quota = report().quota.value();
    ASSERT_TRUE(quota) << each.primary;
    EXPECT_EQ(quota->percentageRemaining, each.remaining);
    EXPECT_EQ(quota->resetsAt, each.resetsAt ? std::optional(Date::fromUnix(*each.resetsAt)) : std::nullopt);
    EXPECT_EQ(report().context.unavailableReason(), "Context unavailable");
  }
  EXPECT_EQ(report().quota.value()->planType, "pro");
  // Neither quota nor usage is news of neither.
  home.write(".codex/sessions/last.jsonl",
             turnContext("o1") + tokenCount(1, "null", R"("rate_limits":{"primary":null})"));
  EXPECT_TRUE(poll().empty());
  EXPECT_EQ(report().quota.value()->planType, "pro");
}

TEST_F(CodexUsageProviderTest, QuotaAndContextLastFromPollToPoll) {
  home.write(rollout, turn(1, 1000, 100));
  poll();
  append(home.path(rollout), tokenCount(2, "null"));
  EXPECT_TRUE(poll().empty());
  EXPECT_EQ(report().context.value(), ContextBudget::of(2000, 1100));
  append(home.path(rollout),
         tokenCount(3, R"({"last_token_usage":{"input_tokens":1}})", R"("rate_limits":null)"));
  EXPECT_EQ(pollOne().quotaRemainingPercent, 57.5);
  EXPECT_TRUE(report().quota.isAvailable());
}

}  // namespace
}  // namespace vigilo::test
