#include "VigiloApp/commands/UsageText.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "VigiloApp/commands/TextTable.h"
#include "VigiloApp/commands/UsageCommands.h"
#include "VigiloApp/host/UsageAnswers.h"
#include "support/RecordCoder.h"
#include "tests/support/TempFolder.h"

namespace vigilo {
namespace {

void useTimeZone(const char* zone) {
  ::setenv("TZ", zone, 1);
  ::tzset();
}

TEST(TextTable, FitsItsWidthByCuttingOnlyWhatMayShrink) {
  TextTable table({{"Name", false, true}, {"Count", true}});
  table.add({"a-session-identifier-of-some-length", "1,234"});
  table.add({"größer", "7"});
  EXPECT_EQ(table.text(100),
            "Name                                 Count\n"
            "a-session-identifier-of-some-length  1,234\n"
            "größer                                   7\n");
  EXPECT_EQ(table.text(20),
            "Name           Count\n"
            "a-session-id…  1,234\n"
            "größer             7\n");
  EXPECT_EQ(table.text(1).substr(0, 15), "Name      Count") << "numbers are never cut";
}

TEST(TextTable, NumbersReadWell) {
  const std::pair<long long, const char*> numbers[] = {
      {0, "0"}, {999, "999"}, {1000, "1,000"}, {-1234567, "-1,234,567"}, {100000, "100,000"}};
  for (const auto& [number, text] : numbers) EXPECT_EQ(grouped(number), text);
  const std::pair<double, const char*> amounts[] = {{0, "$0.00"},       {0.0311, "$0.0311"},
                                                    {12.345, "$12.35"}, {1e6, "$1,000,000.00"},
                                                    {-3, "-$3.00"},     {1e300, "$?"}};
  for (const auto& [amount, text] : amounts) EXPECT_EQ(dollars(amount), text);
}

TEST(UsageText, ABudgetRowShowsABarAResetAndWhyAFigureIsMissing) {
  useTimeZone("UTC");
  const Date now = Date::fromUnix(1795262400);  // 2026-11-21 12:00
  AccountQuotaBudget quota = AccountQuotaBudget::ofUsedPercent(92);
  quota.resetsAt = now + 5400;
  const std::vector<ProviderBudgetReport> reports = {
      {.agentType = AgentType::codex,
       .modelId = "gpt-5.6-terra",
       .context = BudgetMetric<ContextBudget>::known(ContextBudget::of(200000, 100000), 1, "t"),
       .quota = BudgetMetric<AccountQuotaBudget>::known(quota, 1, "t"),
       .cost = CostBudget{1.5, true},
       .lowBudgetAlert = LowBudgetAlert{.message = "Account quota is critically low (8% remaining)"}},
      {.agentType = AgentType::opencode,
       .context = BudgetMetric<ContextBudget>::unavailable("Context unavailable"),
       .quota = BudgetMetric<AccountQuotaBudget>::unavailable("Quota unavailable")}};
  const std::string text = budgetsText(reports, now, 1000);
  for (const char* part :
       {"█████░░░░░ 50 % of 200,000", "8 % left, resets 2026-11-21 13:30 (in 1 h 30 min)", "~$1.50",
        "Account quota is critically low", "Context unavailable", "Quota unavailable"}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << "\nin\n" << text;
  }
}

TEST(UsageText, ASumOfWhichPartHasNoPriceIsALowerBound) {
  const auto expectParts = [](const std::string& text, const std::vector<const char*>& parts) {
    for (const char* part : parts) EXPECT_NE(text.find(part), std::string::npos) << part << "\nin\n" << text;
  };
  UsageSummary summary{.estimatedCostUSD = 6.17, .unpricedTurnCount = 143, .turnCount = 200, .byAgent = {}};
  summary.byAgent["codex"] = {.unpricedTurnCount = 142, .turnCount = 142};
  summary.byAgent["claude"] = {.estimatedCostUSD = 6.17, .unpricedTurnCount = 1, .turnCount = 58};
  expectParts(summaryText(summary, "today", 200),
              {"≥ $6.17\n", "unknown\n", "All: ≥ $6.17, 143 turns without a price\n",
               "Codex CLI: 142 turns without a price\n", "Claude Code: ≥ $6.17, 1 turn without a price\n"});
  expectParts(sessionsText({{.id = "a", .estimatedCostUSD = 6.17, .unpricedTurnCount = 143},
                            {.id = "b", .estimatedCostUSD = 1}},
                           200),
              {"≥ $6.17 ", " $1.00 ", "143 turns without a price\n"});
  expectParts(budgetsText({{.agentType = AgentType::codex, .cost = CostBudget{6.17, true, 143}}}, {}, 200),
              {"≥ $6.17 ", "Codex CLI: ≥ $6.17, 143 turns without a price\n"});
  summary.unpricedTurnCount = 0;
  summary.byAgent.clear();
  EXPECT_EQ(summaryText(summary, "today", 200).find("≥"), std::string::npos);
}

TEST(UsageCommands, ADayIsALocalDayToItsEnd) {
  useTimeZone("Europe/Berlin");
  // The clock went back an hour on this day: it has 25 hours.
  const auto begin = parseMoment("2026-10-25", false);
  const auto end = parseMoment("2026-10-25", true);
  ASSERT_TRUE(begin && end);
  EXPECT_EQ(begin->iso8601(), "2026-10-24T22:00:00Z");
  EXPECT_EQ(end->iso8601(), "2026-10-25T22:59:59Z");
  EXPECT_EQ(parseMoment("2026-10-25T08:00:00Z", true)->iso8601(), "2026-10-25T08:00:00Z");
  for (const char* text : {"", "today", "2026-13-01", "2026-02-30", "25.10.2026", "2026-10-25T08:00"}) {
    EXPECT_FALSE(parseMoment(text, false)) << text;
  }
  useTimeZone("UTC");
}

TEST(UsageAnswers, PagesOfSessionsJoinToTheWholeListInOrder) {
  const test::TempFolder home;
  UsageStore store(
      Directories::below(home.path()), [](const std::string&) { return true; }, Date::now);
  std::vector<UsageEvent> events;
  for (int i = 0; i < 1000; ++i) {
    events.push_back(UsageEvent::make({.id = "i",
                                       .sessionId = "session-" + std::to_string(i),
                                       .turnId = "t",
                                       .modelId = std::string(200, 'm'),
                                       .inputTokens = 1,
                                       .timestamp = Date::fromUnix(1795262400 + i)}));
  }
  store.record(std::move(events));
  std::vector<SessionUsageRecord> all;
  int pages = 0;
  for (; all.size() < 900; ++pages) {
    const auto have = static_cast<std::int64_t>(all.size());
    const std::string line = controlLine(answerFromStore(
        {.command = ControlCommand::usageSessions, .limit = 900 - have, .offset = have}, store));
    EXPECT_LE(line.size(), controlMessageLimit);
    const auto page = decodeRecord<ControlResponse>(line, controlForm);
    ASSERT_TRUE(page && !page->usageSessions->empty());
    all.insert(all.end(), page->usageSessions->begin(), page->usageSessions->end());
  }
  EXPECT_GT(pages, 1);
  EXPECT_EQ(all, store.recentSessions(900));
  for (const std::int64_t odd : {std::int64_t{-1}, std::numeric_limits<std::int64_t>::max()}) {
    EXPECT_LE(answerFromStore({.command = ControlCommand::usageSessions, .limit = odd, .offset = odd}, store)
                  .usageSessions->size(),
              1000u);
  }
}

}  // namespace
}  // namespace vigilo
