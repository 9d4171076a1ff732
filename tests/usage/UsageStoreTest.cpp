#include "usage/UsageStore.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "tests/support/MemorySink.h"
#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

// 2026-11-21 12:00:00 UTC.
const Date noon = Date::fromUnix(1795262400);

UsageEvent turn(const std::string& session, const std::string& turnId, Date timestamp = noon) {
  return UsageEvent::make({.id = "e",
                           .agentType = AgentType::claude,
                           .sessionId = session,
                           .turnId = turnId,
                           .inputTokens = 10,
                           .outputTokens = 5,
                           .timestamp = timestamp,
                           .source = "test"});
}

class UsageStoreTest : public ::testing::Test {
 protected:
  UsageStoreTest() { ::setenv("TZ", "UTC0", 1); }

  UsageStore store() {
    return UsageStore(
        Directories::below(home_.path()), [](const std::string&) { return true; }, [this] { return now_; });
  }

  test::TempFolder home_;
  Date now_ = noon;
};

TEST_F(UsageStoreTest, AnEventCountsOnceAlsoInALaterRun) {
  {
    auto first = store();
    EXPECT_TRUE(first.record(turn("s", "1")));
    UsageEvent again = turn("s", "1", noon + 9);
    again.id = "another";
    EXPECT_FALSE(first.record(again));
    EXPECT_EQ(first.recentSessions(9).at(0).totalTokens, 15);
  }
  EXPECT_EQ(store().eventCount(), 1u) << "the count is the first that is asked";
  auto second = store();
  EXPECT_FALSE(second.record(turn("s", "1")));
  EXPECT_EQ(second.recentSessions(9).at(0).totalTokens, 15);
}

TEST_F(UsageStoreTest, TellsTheTokensOfEachOfTheLastHours) {
  now_ = noon + 1234;
  auto store = this->store();
  int number = 0;
  for (const double second : {1234.0, 0.0, -0.5, -3600.0, -3600.5, -7200.0, -7200.5, 3600.0, -1e12})
    store.record(turn("s", std::to_string(++number), noon + second));
  const std::vector<UsageHour> expected{{noon - 7200, 30, 2}, {noon - 3600, 30, 2}, {noon, 30, 2}};
  EXPECT_EQ(store.hours(3), expected);
  ::setenv("TZ", "XXX-05:30", 1);  // the local clock is half an hour off: 17:30 to 18:00 so far
  EXPECT_EQ(store.hours(1), (std::vector<UsageHour>{{noon - 1800, 45, 3}}));
}

TEST_F(UsageStoreTest, WithoutATurnTimeAndTotalTellEventsApart) {
  auto store = this->store();
  UsageEvent event = turn("s", "");
  EXPECT_TRUE(store.record(event));
  event.turnId.reset();
  EXPECT_FALSE(store.record(event));
  event.timestamp = noon + 0.5;
  EXPECT_TRUE(store.record(event));
  event.totalTokens = 16;
  EXPECT_TRUE(store.record(event));
}

TEST_F(UsageStoreTest, SessionKeepsItsBeginningAndTheLatestOfEverythingElse) {
  auto store = this->store();
  UsageEvent first = turn("s", "1");
  first.modelId = "first-model";
  first.quotaRemainingPercent = 50;
  UsageEvent later = turn("s", "2", noon + 60);
  later.modelId = "other-model";
  later.costEstimateUSD = 0.25;
  later.contextWindow = 1000;
  UsageEvent older = turn("s", "3", noon - 60);
  older.cachedTokens = 7;
  older.cacheWriteTokens = 8;
  older.reasoningTokens = 2;
  older.totalTokens.reset();
  older.costEstimateUSD = 0.5;
  store.record(std::vector{first, later, older});
  const SessionUsageRecord expected{.id = "s",
                                    .agentType = AgentType::claude,
                                    .modelId = "first-model",
                                    .startedAt = noon,
                                    .lastActiveAt = noon + 60,
                                    .durationSeconds = 60,
                                    .totalTokens = 47,
                                    .inputTokens = 30,
                                    .outputTokens = 15,
                                    .cachedTokens = 7,
                                    .cacheWriteTokens = 8,
                                    .reasoningTokens = 2,
                                    .estimatedCostUSD = 0.75,
                                    .unpricedTurnCount = 1,
                                    .contextWindow = 1000,
                                    .quotaRemainingPercent = 50};
  EXPECT_EQ(store.recentSessions(9), std::vector{expected});
  EXPECT_EQ(this->store().recentSessions(9), std::vector{expected});
}

TEST_F(UsageStoreTest, SummaryIncludesBothEndsAndSplitsByAgent) {
  auto store = this->store();
  UsageEvent codex = turn("c", "1", noon + 10);
  codex.agentType = AgentType::codex;
  codex.costEstimateUSD = 0.5;
  store.record(std::vector{turn("a", "0", noon - 0.5), turn("a", "1"), turn("b", "2", noon + 5),
                           turn("a", "3", noon + 10), codex, turn("a", "4", noon + 10.5)});
  UsageSummary expected{.totalTokens = 60,
                        .inputTokens = 40,
                        .outputTokens = 20,
                        .estimatedCostUSD = 0.5,
                        .unpricedTurnCount = 3,
                        .sessionCount = 3,
                        .turnCount = 4,
                        .byAgent = {}};
  expected.byAgent["claude"] = {
      .totalTokens = 45, .inputTokens = 30, .outputTokens = 15, .unpricedTurnCount = 3, .turnCount = 3};
  expected.byAgent["codex"] = {.totalTokens = 15,
                               .inputTokens = 10,
                               .outputTokens = 5,
                               .estimatedCostUSD = 0.5,
                               .unpricedTurnCount = 0,
                               .turnCount = 1};
  EXPECT_EQ(store.summary(noon, noon + 10), expected);
}

TEST_F(UsageStoreTest, TodayBeginsAtLocalMidnight) {
  auto store = this->store();
  const Date midnight = noon - 12 * 3600;
  store.record(std::vector{turn("s", "1", midnight - 0.001), turn("s", "2", midnight),
                           turn("s", "3", midnight + 86400)});
  EXPECT_EQ(store.todaySummary().turnCount, 2);
  now_ = noon + 86400;
  EXPECT_EQ(store.todaySummary().turnCount, 1);
  ::setenv("TZ", "CET-1", 1);
  now_ = noon;
  EXPECT_EQ(store.todaySummary().turnCount, 3);
}

TEST_F(UsageStoreTest, NewestActivityComesFirst) {
  auto store = this->store();
  store.record(std::vector{turn("b", "1", noon + 2), turn("a", "2", noon + 1), turn("c", "3", noon + 3),
                           turn("a", "4", noon + 9)});
  std::vector<std::string> ids;
  for (const auto& session : store.recentSessions(2)) ids.push_back(session.id);
  EXPECT_EQ(ids, (std::vector<std::string>{"a", "c"}));
  EXPECT_EQ(store.recentSessions(99).size(), 3u);
}

TEST_F(UsageStoreTest, ExportHoldsTheCalendarDayAndEverySession) {
  auto store = this->store();
  store.record(std::vector{turn("s", "1"), turn("s", "2", noon + 86400)});
  EXPECT_EQ(store.exportPrivacySafeJSON(), R"({
  "eventCount": 2,
  "exportedAt": "2026-11-21T12:00:00Z",
  "schemaVersion": 1,
  "sessions": [
    {
      "agentType": "claude",
      "cacheWriteTokens": 0,
      "cachedTokens": 0,
      "durationSeconds": 86400.0,
      "id": "s",
      "inputTokens": 20,
      "lastActiveAt": "2026-11-22T12:00:00Z",
      "outputTokens": 10,
      "reasoningTokens": 0,
      "startedAt": "2026-11-21T12:00:00Z",
      "totalTokens": 30,
      "unpricedTurnCount": 2
    }
  ],
  "todaySummary": {
    "byAgent": {
      "claude": {
        "cacheWriteTokens": 0,
        "cachedTokens": 0,
        "inputTokens": 10,
        "outputTokens": 5,
        "reasoningTokens": 0,
        "sessionCount": 0,
        "totalTokens": 15,
        "turnCount": 1,
        "unpricedTurnCount": 1
      }
    },
    "cacheWriteTokens": 0,
    "cachedTokens": 0,
    "inputTokens": 10,
    "outputTokens": 5,
    "reasoningTokens": 0,
    "sessionCount": 1,
    "totalTokens": 15,
    "turnCount": 1,
    "unpricedTurnCount": 1
  }
})");
}

TEST_F(UsageStoreTest, FiguresThatWouldOverflowASumAreRefusedWithoutATrace) {
  test::MemorySink log;
  auto store = this->store();
  constexpr auto largest = std::numeric_limits<std::int64_t>::max();
  UsageEvent huge = turn("s", "1");
  huge.totalTokens = largest;
  UsageEvent unknowable = turn("s", "2");
  unknowable.costEstimateUSD = std::numeric_limits<double>::infinity();
  UsageEvent timeless = turn("s", "3", {std::nan("")});
  UsageEvent large = turn("s", "4");
  large.totalTokens = largest / 10;
  EXPECT_EQ(store.record(std::vector{huge, unknowable, timeless, large}),
            (std::vector{false, false, false, true}));
  EXPECT_EQ(log.take(), std::vector<std::string>{
                            "error [usage.store] Refused 3 usage events whose figures are out of range"});
  // What was accepted is also read again; many of the kind still do not overflow.
  for (int i = 0; i < 50; ++i) {
    large.turnId = "more" + std::to_string(i);
    large.sessionId = large.turnId.value();
    store.record(large);
  }
  EXPECT_EQ(this->store().summary({-1e10}, {1e10}), store.summary({-1e10}, {1e10}));
}

TEST_F(UsageStoreTest, TextThatIsNotUtf8CountsOnceToo) {
  {
    auto first = store();
    EXPECT_TRUE(first.record(turn("caf\xE9", "\xFF")));
    EXPECT_TRUE(first.record(turn("caf\xE9", "2")));
    EXPECT_EQ(first.recentSessions(9).size(), 1u);
  }
  auto second = store();
  EXPECT_EQ(second.record(std::vector{turn("caf\xE9", "\xFF"), turn("caf\xE9", "3")}),
            (std::vector{false, true}));
  EXPECT_EQ(second.recentSessions(9).size(), 1u);
}

TEST_F(UsageStoreTest, ThreadsRecordAndReadAtTheSameTime) {
  auto store = this->store();
  std::vector<std::thread> threads;
  for (int writer = 0; writer < 3; ++writer) {
    threads.emplace_back([&store, writer] {
      for (int i = 0; i < 20; ++i) {
        store.record(turn("s" + std::to_string(writer), std::to_string(i)));
        store.record(turn("shared", std::to_string(i)));
        store.todaySummary();
        store.syncToDisk();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(store.todaySummary().turnCount, 80);
  EXPECT_EQ(this->store().todaySummary(), store.todaySummary());
}

}  // namespace
}  // namespace vigilo
