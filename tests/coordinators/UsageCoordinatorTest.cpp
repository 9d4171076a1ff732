#include "UsageCoordinator.h"

#include <gtest/gtest.h>

#include "tests/support/MemorySink.h"
#include "tests/support/TempFolder.h"
#include "tests/support/VirtualTime.h"
#include "usage/HookUsage.h"

namespace vigilo {
namespace {

// A provider that delivers what the test hands it, and remembers what was asked of it.
class FakeProvider final : public UsageProvider {
 public:
  FakeProvider(AgentType agent, std::vector<std::string>& calls) : agent_(agent), calls_(calls) {}

  AgentType agentType() const override { return agent_; }
  void startMonitoring(UsageBatchHandler onEvents, NewReportHandler onReport) override {
    calls_.push_back("start " + std::string(rawValue(agent_)));
    deliver = std::move(onEvents);
    tellOfReport = std::move(onReport);
  }
  void stopMonitoring() override {
    calls_.push_back("stop " + std::string(rawValue(agent_)));
    deliver = nullptr;
  }
  std::vector<UsageEvent> pollLatestEvents() override { return {}; }
  std::optional<ProviderBudgetReport> latestBudgetReport() const override { return report; }

  UsageBatchHandler deliver;
  NewReportHandler tellOfReport;
  std::optional<ProviderBudgetReport> report;

 private:
  const AgentType agent_;
  std::vector<std::string>& calls_;
};

class UsageCoordinatorTest : public testing::Test {
 protected:
  UsageEvent turn(AgentType agent, const std::string& session, int number, std::int64_t tokens = 100) {
    return UsageEvent::make({.id = "id",
                             .agentType = agent,
                             .sessionId = session,
                             .turnId = "turn" + std::to_string(number),
                             .inputTokens = tokens,
                             .timestamp = time.now(),
                             .source = "test"});
  }
  ProviderBudgetReport report(AgentType agent, double quotaUsed) {
    ProviderBudgetReport result{.agentType = agent,
                                .quota = BudgetMetric<AccountQuotaBudget>::known(
                                    AccountQuotaBudget::ofUsedPercent(quotaUsed), 1.0, "test"),
                                .lastUpdated = time.now(),
                                .source = "test"};
    result.lowBudgetAlert = result.evaluateAlert(time.now());
    return result;
  }
  HookEvent hook(AgentType agent, std::optional<std::int64_t> tokens) {
    HookEvent event = HookEvent::of(agent, AgentState::working, time.now(), "hooked");
    event.inputTokens = tokens;
    event.model = "claude-opus-5";
    event.turnId = "t1";
    return event;
  }

  test::TempFolder home;
  test::VirtualTime time;
  std::unique_ptr<Queue> main = time.queue("main");
  std::unique_ptr<Queue> queue = time.queue("usage.coordinator");
  UsageStore store{Directories::below(home.path()), [](const std::string&) { return true; }, time.clock()};
  std::vector<std::string> calls;
  std::shared_ptr<FakeProvider> codex = std::make_shared<FakeProvider>(AgentType::codex, calls);
  std::shared_ptr<FakeProvider> claude = std::make_shared<FakeProvider>(AgentType::claude, calls);
  std::shared_ptr<UsageCoordinator> usage = UsageCoordinator::create({.mainQueue = *main,
                                                                      .queue = *queue,
                                                                      .clock = time.clock(),
                                                                      .store = store,
                                                                      .providers = {codex, claude}});
};

TEST_F(UsageCoordinatorTest, OnePollIsOneRefreshAndADuplicateIsNone) {
  usage->start();
  time.runUntilIdle();
  int published = 0;
  const auto token = usage->todaySummary.onWillChange([&] { ++published; });
  codex->report = report(AgentType::codex, 92);
  codex->deliver(
      {turn(AgentType::codex, "a", 1), turn(AgentType::codex, "a", 2), turn(AgentType::codex, "b", 1)});
  time.runUntilIdle();
  EXPECT_EQ(published, 1);
  EXPECT_EQ(usage->todaySummary.get().turnCount, 3);
  EXPECT_EQ(usage->lowBudgetAlerts.get().at(AgentType::codex).level, LowBudgetLevel::critical);

  codex->report = report(AgentType::codex, 10);
  codex->deliver({turn(AgentType::codex, "a", 2)});
  time.runUntilIdle();
  EXPECT_EQ(published, 1);
  EXPECT_TRUE(usage->lowBudgetAlerts.get().contains(AgentType::codex)) << "nothing follows a duplicate";

  codex->deliver({turn(AgentType::codex, "a", 2), turn(AgentType::codex, "a", 3)});
  time.runUntilIdle();
  EXPECT_EQ(published, 2);
  EXPECT_FALSE(usage->lowBudgetAlerts.get().contains(AgentType::codex)) << "the alert ends with its report";
}

TEST_F(UsageCoordinatorTest, AReportIsPublishedWithoutAnythingNewToRecord) {
  usage->start();
  time.runUntilIdle();
  codex->deliver({turn(AgentType::codex, "a", 1)});
  time.runUntilIdle();
  // As after a restart of the host: the logs are read again, and all of it is on record.
  codex->report = report(AgentType::codex, 92);
  codex->deliver({turn(AgentType::codex, "a", 1)});
  codex->tellOfReport();
  time.runUntilIdle();
  EXPECT_TRUE(usage->budgetReport(AgentType::codex));
  EXPECT_TRUE(usage->lowBudgetAlerts.get().contains(AgentType::codex));
}

// The provider knows its last turn only.
TEST_F(UsageCoordinatorTest, TheCostInAReportIsThatOfItsSession) {
  usage->start();
  time.runUntilIdle();
  std::vector<UsageEvent> turns{turn(AgentType::codex, "a", 1), turn(AgentType::codex, "a", 2),
                                turn(AgentType::codex, "a", 3), turn(AgentType::codex, "b", 4)};
  for (const std::size_t priced : {0u, 1u, 3u}) turns[priced].costEstimateUSD = 0.25;
  codex->report = report(AgentType::codex, 10);
  codex->report->sessionId = "a";
  codex->report->cost = CostBudget{0.25, true};
  codex->deliver(turns);
  codex->tellOfReport();
  time.runUntilIdle();
  EXPECT_EQ(usage->budgetReport(AgentType::codex)->cost, (CostBudget{0.5, true, 1}));

  auto hooked = hook(AgentType::claude, 1'000'000);
  usage->handleHookEvent(hooked);
  time.runUntilIdle();
  const double once = usage->budgetReport(AgentType::claude)->cost->amountUSD;
  hooked.turnId = "t2";
  usage->handleHookEvent(hooked);
  time.runUntilIdle();
  EXPECT_DOUBLE_EQ(usage->budgetReport(AgentType::claude)->cost->amountUSD, 2 * once);
}

TEST_F(UsageCoordinatorTest, TheAlertOfAQuotaEndsWithItsWindow) {
  usage->start();
  time.runUntilIdle();
  const auto withWindow = [this](AgentType agent, Date resetsAt) {
    auto result = report(agent, 92);
    auto quota = *result.quota.value();
    quota.resetsAt = resetsAt;
    result.quota = BudgetMetric<AccountQuotaBudget>::known(quota, 1.0, "test");
    return result;
  };
  codex->report = withWindow(AgentType::codex, time.now() + 1800.5);
  claude->report = withWindow(AgentType::claude, time.now() + 7200);
  codex->tellOfReport();
  time.runUntilIdle();
  time.advance(1800);
  EXPECT_EQ(usage->lowBudgetAlerts.get().size(), 2u);
  time.advance(0.6);
  EXPECT_FALSE(usage->lowBudgetAlerts.get().contains(AgentType::codex));
  EXPECT_FALSE(usage->budgetReport(AgentType::codex)->lowBudgetAlert);
  EXPECT_TRUE(usage->lowBudgetAlerts.get().contains(AgentType::claude));
  // The machine slept: no timer has noticed.
  time.setWallClock(time.now() + 7200);
  time.advance(60);
  EXPECT_TRUE(usage->lowBudgetAlerts.get().empty());
  codex->report = withWindow(AgentType::codex, time.now() - 1);
  codex->tellOfReport();
  time.runUntilIdle();
  EXPECT_TRUE(usage->lowBudgetAlerts.get().empty()) << "read from an old log";
}

TEST_F(UsageCoordinatorTest, AHookReportsUsageButNeverOverAFreshProvidersReport) {
  usage->start();
  time.runUntilIdle();
  usage->handleHookEvent(hook(AgentType::claude, std::nullopt));
  time.runUntilIdle();
  EXPECT_EQ(usage->todaySummary.get().turnCount, 0) << "no figures, no usage";

  usage->handleHookEvent(hook(AgentType::claude, 5000));
  time.runUntilIdle();
  const auto reported = usage->budgetReport(AgentType::claude);
  ASSERT_TRUE(reported);
  EXPECT_EQ(reported->quota.unavailableReason(), "Quota unavailable");
  EXPECT_EQ(reported->context.value()->tokensConsumed, 5000);
  EXPECT_GT(usage->todaySummary.get().estimatedCostUSD.value_or(0), 0);

  claude->report = report(AgentType::claude, 50);
  usage->refreshBudgetReports();
  time.runUntilIdle();
  time.advance(14 * 60);
  usage->handleHookEvent(hook(AgentType::claude, 6000));
  time.runUntilIdle();
  EXPECT_EQ(usage->budgetReport(AgentType::claude)->source, "test");
  time.advance(61);
  usage->handleHookEvent(hook(AgentType::claude, 7000));
  time.runUntilIdle();
  EXPECT_EQ(usage->budgetReport(AgentType::claude)->source, hookUsageSource);
}

TEST_F(UsageCoordinatorTest, AResetForgetsWhatIsStoredAndWhatIsPublished) {
  usage->start();
  time.runUntilIdle();
  codex->report = report(AgentType::codex, 99);
  codex->deliver({turn(AgentType::codex, "a", 1)});
  time.runUntilIdle();
  codex->report.reset();
  bool done = false;
  usage->resetUsageData([&] { done = true; });
  time.runUntilIdle();
  EXPECT_TRUE(done);
  EXPECT_EQ(usage->todaySummary.get(), UsageSummary{});
  EXPECT_TRUE(usage->recentSessions.get().empty());
  EXPECT_TRUE(usage->latestBudgetReports.get().empty() && usage->lowBudgetAlerts.get().empty());
  EXPECT_EQ(store.eventCount(), 0u);
}

TEST_F(UsageCoordinatorTest, ANewDayBeginsWithoutAnEvent) {
  usage->start();
  time.runUntilIdle();
  codex->deliver({turn(AgentType::codex, "a", 1)});
  time.runUntilIdle();
  EXPECT_EQ(usage->todaySummary.get().turnCount, 1);
  time.advance(24 * 3600 + 301);
  EXPECT_EQ(usage->todaySummary.get().turnCount, 0);
}

TEST_F(UsageCoordinatorTest, AnAnswerThatComesAfterTheEndIsDropped) {
  usage->start();
  codex->deliver = nullptr;
  usage->refreshSummaries();
  usage->refreshBudgetReports();
  usage.reset();
  time.runUntilIdle();
}

}  // namespace
}  // namespace vigilo
