#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agents/HookEvent.h"
#include "support/Log.h"
#include "support/Mutex.h"
#include "support/Observable.h"
#include "support/Queue.h"
#include "usage/UsageProvider.h"
#include "usage/UsageStore.h"

namespace vigilo {

// The hub of the usage telemetry: starts and stops the providers, feeds what they and the hooks deliver into
// the store, and publishes today's summary, the recent sessions, and the latest budget report and alert of
// each agent.
//
// The store is used on the coordinator's own queue only, where it may wait for the disk; the published values
// belong to the main queue. Every operation returns at once and may be called from any thread. Refreshes that
// wait fold into one. Queues and store must outlive it; destroy it after both queues have ended.
class UsageCoordinator final : public std::enable_shared_from_this<UsageCoordinator> {
 public:
  static constexpr std::size_t recentSessionLimit = 25;
  // A hook knows less than a provider: its report does not replace a provider's that is younger than this.
  static constexpr double providerReportKeepsSeconds = 15 * 60;
  static constexpr std::chrono::minutes syncInterval{5};
  // The alert of a quota ends with its window: looked at when that is due, and as often as this in case the
  // clock was set or the machine slept.
  static constexpr double alertCheckSeconds = 60;

  struct Parts {
    Queue& mainQueue;
    Queue& queue;  // "usage.coordinator"
    Clock clock;
    UsageStore& store;
    std::vector<std::shared_ptr<UsageProvider>> providers;  // in the order of starting and asking
  };
  static std::shared_ptr<UsageCoordinator> create(Parts parts);

  // What `main` installed, null before.
  static UsageCoordinator* shared();
  static void installShared(UsageCoordinator* coordinator);

  // Loads the store, starts every provider and publishes; nothing when it runs already.
  void start();
  // Stops the providers and brings the store to the disk. `done` comes on the coordinator's queue.
  void stop(std::function<void()> done = [] {});

  // Records what one poll, or one hook, found. Nothing follows where all of it was known already.
  void handleUsageEvents(std::vector<UsageEvent> events);
  void handleUsageEvent(UsageEvent event) { handleUsageEvents({std::move(event)}); }
  // Records the usage that the event carries, if any, and publishes what it says of the agent's budget.
  void handleHookEvent(const HookEvent& event);
  void refreshSummaries();
  void refreshBudgetReports();
  // Forgets everything that was recorded and published. `done` comes on the main queue.
  void resetUsageData(std::function<void()> done = [] {});

  // The published report; absent where there is none. On the main queue.
  std::optional<ProviderBudgetReport> budgetReport(AgentType agent) const;
  // Calls `done` on the coordinator's queue with the store's export.
  void exportUsageJSON(std::function<void(std::string)> done);
  // Runs a question to the store on the coordinator's queue.
  void ask(std::function<void(UsageStore&)> question);

  // Published on the main queue: observers are told before a value changes.
  Published<UsageSummary> todaySummary{{}};
  Published<std::vector<SessionUsageRecord>> recentSessions{{}};
  Published<std::map<AgentType, ProviderBudgetReport>> latestBudgetReports{{}};
  Published<std::map<AgentType, LowBudgetAlert>> lowBudgetAlerts{{}};

 private:
  explicit UsageCoordinator(Parts parts) : parts_(std::move(parts)) {}
  template <class Member>
  auto weakly(Member task);
  void startProviders();
  void startProvider(UsageProvider& provider);
  void publishReports(const std::vector<std::optional<ProviderBudgetReport>>& reports);
  void publishHookReport(const ProviderBudgetReport& report);
  void publishAsOfNow(std::map<AgentType, ProviderBudgetReport> reports);

  const Parts parts_;
  const Log log_{"com.vigilo.app", "usage.coordinator"};
  mutable Mutex mutex_;
  bool isRunning_ VIGILO_GUARDED_BY(mutex_) = false;
  std::atomic<bool> summariesWait_{false};
  std::atomic<bool> reportsWait_{false};
  CancelToken syncTimer_;   // on the coordinator's queue
  CancelToken alertTimer_;  // on the main queue; only while the alert of a quota may end by itself
};

}  // namespace vigilo
