#include "usage/Budgets.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "support/RecordCoder.h"
#include "usage/ModelRateCard.h"

namespace vigilo {
namespace {

TEST(ContextBudget, KeepsWindowAndConsumptionWithinSense) {
  struct Case {
    std::int64_t window, consumed;
    ContextBudget expected;
  };
  for (const Case& each : {
           Case{200000, 50000, {200000, 50000, 150000, 75, 25}},
           Case{200000, 300000, {200000, 300000, 0, 0, 150}},
           Case{0, 2, {1, 2, 0, 0, 200}},
           Case{-7, 0, {1, 0, 1, 100, 0}},
           Case{100, -5, {100, 0, 100, 100, 0}},
       }) {
    EXPECT_EQ(ContextBudget::of(each.window, each.consumed), each.expected)
        << each.consumed << " of " << each.window;
  }
}

TEST(ModelRateCard, NamesMatchTheLongestKeyTheyContain) {
  struct Case {
    std::optional<std::string> model;
    std::optional<double> inputPrice;
    std::optional<std::int64_t> window;
  };
  for (const Case& each : std::vector<Case>{
           {" Claude-3-5-Sonnet\n", 3.0, 200000},
           {"claude-3-5-sonnet-latest", 3.0, 200000},
           {"gpt-4o", 2.5, 128000},
           {"openai/gpt-4o-mini-2024", 0.15, 128000},
           {"o1-mini-x", 3.0, 128000},
           {"o1-2024-12-17", 15.0, 200000},
           {"nemotron-3.5-lightning-free", 0.0, 128000},
           {"gpt-3", {}, {}},
           {" ", {}, {}},
           {{}, {}, {}},
       }) {
    const auto rate = ModelRateCard::rate(each.model);
    EXPECT_EQ(rate ? std::optional(rate->inputPerMillionUSD) : std::nullopt, each.inputPrice)
        << each.model.value_or("none");
    EXPECT_EQ(ModelRateCard::contextWindow(each.model), each.window) << each.model.value_or("none");
  }
}

// A wrong one would move the point at which a context counts as full.
TEST(ModelRateCard, EachModelHasItsOwnContextWindow) {
  const std::map<std::int64_t, std::set<std::string_view>> expected{
      {128000,
       {"nemotron-3.5-lightning-free", "deepseek-v4-flash-free", "gpt-4o-mini", "gpt-4o", "o1-preview",
        "o1-mini"}},
      {200000,
       {"claude-3-5-sonnet-20241022", "claude-3-5-sonnet", "claude-3-5-haiku", "claude-3-sonnet",
        "claude-3-opus", "claude-opus-5", "o3-mini", "o1"}},
      {258400, {"gpt-5.6-terra"}},
      {1000000, {"gemini-1.5-flash", "gemini-2.0-flash", "gemini-3.7-flash"}},
      {2000000, {"gemini-1.5-pro"}}};
  std::map<std::int64_t, std::set<std::string_view>> windows;
  for (const auto& row : ModelRateCard::rows()) windows[row.contextWindow].insert(row.key);
  EXPECT_EQ(windows, expected);
}

TEST(ModelRateCard, EveryRowIsFoundByItsOwnNameAndPricesReasoningAsOutput) {
  EXPECT_EQ(ModelRateCard::rows().size(), 19u);
  for (const auto& row : ModelRateCard::rows()) {
    const std::string name(row.key);
    EXPECT_EQ(ModelRateCard::contextWindow(name), row.contextWindow) << name;
    EXPECT_EQ(ModelRateCard::rate(name)->inputPerMillionUSD, row.rate.inputPerMillionUSD) << name;
    EXPECT_EQ(row.rate.reasoningPerMillionUSD, row.rate.outputPerMillionUSD) << name;
  }
}

TEST(LowBudgetThreshold, MoreSevereAlertWinsAndTheQuotaWhereEqual) {
  struct Case {
    std::optional<double> context, quota;
    std::string message;  // empty: no alert
  };
  for (const Case& each : std::vector<Case>{
           {20.0, {}, "Context window is low (20% remaining)"},
           {20.01, 20.01, ""},
           {10.01, {}, "Context window is low (10% remaining)"},
           {10.0, {}, "Context window is critically low (10% remaining)"},
           {{}, 7.5, "Account quota is critically low (8% remaining)"},
           {5.01, {}, "Context window is critically low (5% remaining)"},
           {{}, 5.0, "Account quota is exhausted (5% remaining)"},
           {2.5, {}, "Context window is exhausted (3% remaining)"},
           {-0.4, {}, "Context window is exhausted (0% remaining)"},
           {{}, -12.5, "Account quota is exhausted (-13% remaining)"},
           {4.0, 15.0, "Context window is exhausted (4% remaining)"},
           {15.0, 4.0, "Account quota is exhausted (4% remaining)"},
           {8.0, 9.0, "Account quota is critically low (9% remaining)"},
           {{}, {}, ""},
       }) {
    const auto alert = LowBudgetThreshold::evaluate(each.context, each.quota);
    EXPECT_EQ(alert ? alert->message : "", each.message);
  }
  EXPECT_EQ(LowBudgetThreshold::evaluate(7.51, {}),
            (LowBudgetAlert{LowBudgetLevel::critical, LowBudgetMetricType::context, 7.51,
                            "Context window is critically low (8% remaining)"}));
}

TEST(ProviderBudgetReport, JsonNamesTheCaseOfEachMetric) {
  ProviderBudgetReport report{
      .agentType = AgentType::codex,
      .context = BudgetMetric<ContextBudget>::known(ContextBudget::of(100, 96), 1, "codex-rollout"),
      .quota = BudgetMetric<AccountQuotaBudget>::unavailable("Quota unavailable"),
      .source = "x"};
  report.lowBudgetAlert = report.evaluateAlert({});
  ASSERT_TRUE(report.lowBudgetAlert);
  EXPECT_EQ(report.lowBudgetAlert->level, LowBudgetLevel::exhausted);
  const std::string json = encodeRecord(report);
  EXPECT_EQ(
      json,
      R"({"agentType":"codex",)"
      R"("context":{"type":"known","value":{"contextWindow":100,"tokensConsumed":96,)"
      R"("tokensRemaining":4,"percentageRemaining":4.0,"percentageUsed":96.0},)"
      R"("confidence":1.0,"source":"codex-rollout"},)"
      R"("quota":{"type":"unavailable","reason":"Quota unavailable"},"sessionUsage":{"recordedAt":0.0},)"
      R"("lowBudgetAlert":{"level":"exhausted","metricType":"context","percentageRemaining":4.0,)"
      R"-("message":"Context window is exhausted (4% remaining)"},"lastUpdated":0.0,"source":"x"})-");
  EXPECT_EQ(*decodeRecord<ProviderBudgetReport>(json), report);
}

}  // namespace
}  // namespace vigilo
