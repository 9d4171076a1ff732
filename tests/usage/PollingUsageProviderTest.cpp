#include "usage/PollingUsageProvider.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "support/AsioQueue.h"

namespace vigilo::test {
namespace {

// Finds one event at every reading.
class Endless final : public UsageSource {
 public:
  void readNew(Date now, const Sink& onEvent) override {
    const UsageEvent event{
        .agentType = AgentType::custom, .sessionId = "s", .timestamp = now, .source = "test"};
    onEvent(event);
    report_ = reportOf(event, now);
  }
  std::optional<ProviderBudgetReport> latestReport() const override { return report_; }

 private:
  std::optional<ProviderBudgetReport> report_;
};

class EndlessProvider final : public PollingUsageProvider {
 public:
  explicit EndlessProvider(Queue& queue)
      : PollingUsageProvider(
            AgentType::custom, std::make_unique<Endless>(), [] {}, queue, Date::now) {}
};

// On real threads: the handler must never run once a stop has returned, whatever was under way.
TEST(PollingUsageProvider, NoBatchIsDeliveredAfterAStopHasReturned) {
  const auto queue = AsioQueue::withThread("test.usage");
  EndlessProvider provider(*queue);
  std::atomic<bool> isMonitoring = false;
  std::atomic<int> delivered = 0;
  std::atomic<int> reported = 0;
  std::atomic<int> late = 0;
  std::atomic<bool> isDone = false;
  const auto others = std::async(std::launch::async, [&] {
    while (!isDone) {
      provider.pollLatestEvents();
      (void)provider.latestBudgetReport();
    }
  });
  for (int round = 0; round < 500 || delivered == 0; ++round) {
    isMonitoring = true;
    provider.startMonitoring([&](std::vector<UsageEvent>) { ++(isMonitoring ? delivered : late); },
                             [&] { ++(isMonitoring ? reported : late); });
    if (round % 2 == 0) provider.pollLatestEvents();
    provider.stopMonitoring();
    isMonitoring = false;
  }
  isDone = true;
  others.wait();
  EXPECT_EQ(late, 0);
  EXPECT_GT(delivered, 0);
  EXPECT_GT(reported, 0);
  EXPECT_TRUE(provider.latestBudgetReport());
}

}  // namespace
}  // namespace vigilo::test
