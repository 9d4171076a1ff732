#pragma once

#include <memory>

#include "support/Mutex.h"
#include "support/Queue.h"
#include "usage/UsageProvider.h"
#include "usage/UsageSource.h"

namespace vigilo {

// The monitoring that all providers share: polls a source every 3 seconds on a queue that is the provider's
// own and outlives it. The source belongs to the queue; `latestBudgetReport` alone never waits for a poll.
// Thread-safe as UsageProvider says; destroying it stops it, so not on that queue either.
class PollingUsageProvider : public UsageProvider {
 public:
  static constexpr std::chrono::seconds pollInterval{3};

  ~PollingUsageProvider() override;

  AgentType agentType() const override { return agentType_; }
  void startMonitoring(UsageBatchHandler onEvents, NewReportHandler onReport) override;
  void stopMonitoring() override;
  std::vector<UsageEvent> pollLatestEvents() override;
  std::optional<ProviderBudgetReport> latestBudgetReport() const override;

 protected:
  // `onStarted` is called after the backlog was delivered.
  PollingUsageProvider(AgentType agentType, std::unique_ptr<UsageSource> source, Task onStarted, Queue& queue,
                       Clock clock);

 private:
  // From a start to the next stop. Tasks on the queue hold it weakly: once it is gone, they do nothing.
  struct Monitoring {
    UsageBatchHandler onEvents;
    NewReportHandler onReport;
    CancelToken timer{};  // the queue's
  };

  struct News {
    std::vector<UsageEvent> events;
    bool hasReport = false;  // another than before
  };

  static void deliver(News news, const Monitoring& monitoring);
  News readNew();

  const AgentType agentType_;
  const std::unique_ptr<UsageSource> source_;
  const Task onStarted_;
  Queue& queue_;
  const Clock clock_;
  mutable Mutex mutex_;
  std::shared_ptr<Monitoring> monitoring_ VIGILO_GUARDED_BY(mutex_);
  std::optional<ProviderBudgetReport> report_ VIGILO_GUARDED_BY(mutex_);
};

}  // namespace vigilo
