#include "usage/UsageRecords.h"

#include <gtest/gtest.h>

namespace vigilo {
namespace {

TEST(UsageEvent, KeyTellsRepeatedDeliveriesFromNewUsage) {
  struct Case {
    std::optional<std::string> turnId;
    double unixSeconds;
    std::optional<std::int64_t> total;
    std::string key;
  };
  for (const Case& each : std::vector<Case>{
           {"t1", 5, 7, "claude_abc_t1"},
           {"", 1731700000.5, 1200, "claude_abc_1731700000.5_1200"},
           {std::nullopt, 1731700000, std::nullopt, "claude_abc_1731700000.0_0"},
           {std::nullopt, 1e17, 1, "claude_abc_100000000000000000.0_1"},
           {std::nullopt, -0.25, -3, "claude_abc_-0.25_-3"},
       }) {
    const UsageEvent event{.agentType = AgentType::claude,
                           .sessionId = "abc",
                           .turnId = each.turnId,
                           .totalTokens = each.total,
                           .timestamp = Date::fromUnix(each.unixSeconds)};
    EXPECT_EQ(event.deduplicationKey(), each.key);
  }
}

TEST(UsageEvent, MissingTotalIsInputOutputAndReasoningWithoutCache) {
  const auto total = [](UsageEvent event) { return UsageEvent::make(std::move(event)).totalTokens; };
  EXPECT_EQ(total({.inputTokens = 10, .outputTokens = 5, .cachedTokens = 900, .cacheWriteTokens = 90}), 15);
  EXPECT_EQ(total({.reasoningTokens = 4}), 4);
  EXPECT_EQ(total({.inputTokens = 10, .totalTokens = 3}), 3);
  EXPECT_EQ(total({.cachedTokens = 900}), std::nullopt);
  EXPECT_EQ(total({.inputTokens = 5, .outputTokens = -5}), std::nullopt);
}

TEST(UsageFigures, ClaimsBeyondAMillionMillionsReadAsAbsent) {
  EXPECT_EQ(plausibleCount(1'000'000'000'000), 1'000'000'000'000);
  EXPECT_EQ(plausibleCount(1'000'000'000'001), std::nullopt);
  EXPECT_EQ(plausibleCount(std::numeric_limits<std::int64_t>::min()), std::nullopt);
  EXPECT_EQ(plausibleAmount(-1e12), -1e12);
  EXPECT_EQ(plausibleAmount(1.1e12), std::nullopt);
  EXPECT_EQ(plausibleAmount(std::nan("")), std::nullopt);
}

}  // namespace
}  // namespace vigilo
