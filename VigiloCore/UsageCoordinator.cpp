#include "UsageCoordinator.h"

#include <algorithm>
#include <utility>

#include "usage/HookUsage.h"

namespace vigilo {
namespace {

std::atomic<UsageCoordinator*> sharedCoordinator{nullptr};

}  // namespace

std::shared_ptr<UsageCoordinator> UsageCoordinator::create(Parts parts) {
  return std::shared_ptr<UsageCoordinator>(new UsageCoordinator(std::move(parts)));
}

UsageCoordinator* UsageCoordinator::shared() {
  return sharedCoordinator;
}

void UsageCoordinator::installShared(UsageCoordinator* coordinator) {
  sharedCoordinator = coordinator;
}

// A task that does nothing once the coordinator is gone.
template <class Member>
auto UsageCoordinator::weakly(Member task) {
  return [weak = weak_from_this(), task = std::move(task)]() mutable {
    if (const auto self = weak.lock()) task(*self);
  };
}

void UsageCoordinator::start() {
  {
    const LockGuard guard(mutex_);
    if (std::exchange(isRunning_, true)) return;
  }
  log_.info("Starting UsageCoordinator and telemetry providers...");
  parts_.queue.async(weakly([](UsageCoordinator& self) { self.startProviders(); }));
}

void UsageCoordinator::startProviders() {
  parts_.store.load();
  for (const auto& provider : parts_.providers) startProvider(*provider);
  // A new day begins without an event, too: the summary is read again along with the sync.
  syncTimer_ = parts_.queue.timer(syncInterval, syncInterval, weakly([](UsageCoordinator& self) {
                                    self.parts_.store.syncToDisk();
                                    self.refreshSummaries();
                                  }));
  refreshSummaries();
}

void UsageCoordinator::startProvider(UsageProvider& provider) {
  provider.startMonitoring(
      [weak = weak_from_this()](std::vector<UsageEvent> events) {
        if (const auto self = weak.lock()) self->handleUsageEvents(std::move(events));
      },
      weakly([](UsageCoordinator& self) { self.refreshBudgetReports(); }));
}

void UsageCoordinator::stop(std::function<void()> done) {
  {
    const LockGuard guard(mutex_);
    if (!std::exchange(isRunning_, false)) return parts_.queue.async(std::move(done));
  }
  parts_.queue.async(weakly([done = std::move(done)](UsageCoordinator& self) {
    self.syncTimer_.reset();
    for (const auto& provider : self.parts_.providers) provider->stopMonitoring();
    self.parts_.store.syncToDisk();
    done();
  }));
}

void UsageCoordinator::handleUsageEvents(std::vector<UsageEvent> events) {
  parts_.queue.async(weakly([events = std::move(events)](UsageCoordinator& self) mutable {
    const auto recorded = self.parts_.store.record(std::move(events));
    if (std::find(recorded.begin(), recorded.end(), true) == recorded.end()) return;
    self.refreshSummaries();
    self.refreshBudgetReports();
  }));
}

void UsageCoordinator::handleHookEvent(const HookEvent& event) {
  auto usage = toUsageEvent(event);
  if (!usage) return;
  auto report = hookBudgetReport(*usage, parts_.clock());
  handleUsageEvent(*std::move(usage));
  parts_.queue.async(weakly([report = std::move(report)](UsageCoordinator& self) mutable {
    self.parts_.store.tellCostOfSession(report);
    self.parts_.mainQueue.async(self.weakly(
        [report = std::move(report)](UsageCoordinator& publisher) { publisher.publishHookReport(report); }));
  }));
}

void UsageCoordinator::refreshSummaries() {
  if (summariesWait_.exchange(true)) return;
  parts_.queue.async(weakly([](UsageCoordinator& self) {
    self.summariesWait_ = false;
    auto summary = self.parts_.store.todaySummary();
    auto sessions = self.parts_.store.recentSessions(recentSessionLimit);
    self.parts_.mainQueue.async(self.weakly(
        [summary = std::move(summary), sessions = std::move(sessions)](UsageCoordinator& publisher) mutable {
          publisher.todaySummary.set(std::move(summary));
          publisher.recentSessions.set(std::move(sessions));
        }));
  }));
}

void UsageCoordinator::refreshBudgetReports() {
  if (reportsWait_.exchange(true)) return;
  parts_.queue.async(weakly([](UsageCoordinator& self) {
    self.reportsWait_ = false;
    std::vector<std::optional<ProviderBudgetReport>> reports;
    for (const auto& provider : self.parts_.providers) {
      auto report = provider->latestBudgetReport();
      if (report) self.parts_.store.tellCostOfSession(*report);
      reports.push_back(std::move(report));
    }
    self.parts_.mainQueue.async(self.weakly(
        [reports = std::move(reports)](UsageCoordinator& publisher) { publisher.publishReports(reports); }));
  }));
}

void UsageCoordinator::publishReports(const std::vector<std::optional<ProviderBudgetReport>>& reports) {
  auto latest = latestBudgetReports.get();
  for (const auto& report : reports) {
    if (report) latest.insert_or_assign(report->agentType, *report);
  }
  publishAsOfNow(std::move(latest));
}

void UsageCoordinator::publishAsOfNow(std::map<AgentType, ProviderBudgetReport> reports) {
  const Date now = parts_.clock();
  std::map<AgentType, LowBudgetAlert> alerts;
  std::optional<double> nextLook;  // in seconds
  for (auto& [agent, report] : reports) {
    report.lowBudgetAlert = report.evaluateAlert(now);
    if (!report.lowBudgetAlert) continue;
    alerts.emplace(agent, *report.lowBudgetAlert);
    const auto quota = report.quota.value();
    if (!quota || !quota->resetsAt || *quota->resetsAt <= now) continue;
    nextLook = std::min({*quota->resetsAt - now, alertCheckSeconds, nextLook.value_or(alertCheckSeconds)});
  }
  lowBudgetAlerts.set(std::move(alerts));
  latestBudgetReports.set(std::move(reports));
  alertTimer_.reset();
  if (!nextLook) return;
  const auto delay = std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(*nextLook));
  alertTimer_ = parts_.mainQueue.timer(
      delay, {}, weakly([](UsageCoordinator& self) { self.publishAsOfNow(self.latestBudgetReports.get()); }));
}

void UsageCoordinator::publishHookReport(const ProviderBudgetReport& report) {
  const auto known = budgetReport(report.agentType);
  const bool isProviders = known && known->source != hookUsageSource;
  if (isProviders && parts_.clock() - known->lastUpdated < providerReportKeepsSeconds) return;
  publishReports({report});
}

void UsageCoordinator::resetUsageData(std::function<void()> done) {
  parts_.queue.async(weakly([done = std::move(done)](UsageCoordinator& self) mutable {
    self.parts_.store.reset();
    self.parts_.mainQueue.async(self.weakly([done = std::move(done)](UsageCoordinator& publisher) {
      publisher.todaySummary.set({});
      publisher.recentSessions.set({});
      publisher.publishAsOfNow({});
      done();
    }));
    self.refreshSummaries();
    self.log_.info("UsageCoordinator telemetry data reset.");
  }));
}

std::optional<ProviderBudgetReport> UsageCoordinator::budgetReport(AgentType agent) const {
  const auto& reports = latestBudgetReports.get();
  const auto found = reports.find(agent);
  return found == reports.end() ? std::nullopt : std::optional(found->second);
}

void UsageCoordinator::exportUsageJSON(std::function<void(std::string)> done) {
  ask([done = std::move(done)](UsageStore& store) { done(store.exportPrivacySafeJSON()); });
}

void UsageCoordinator::ask(std::function<void(UsageStore&)> question) {
  parts_.queue.async(
      weakly([question = std::move(question)](UsageCoordinator& self) { question(self.parts_.store); }));
}

}  // namespace vigilo
