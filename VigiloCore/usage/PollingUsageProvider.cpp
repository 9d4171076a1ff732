#include "usage/PollingUsageProvider.h"

#include <utility>

namespace vigilo {

PollingUsageProvider::PollingUsageProvider(AgentType agentType, std::unique_ptr<UsageSource> source,
                                           Task onStarted, Queue& queue, Clock clock)
    : agentType_(agentType),
      source_(std::move(source)),
      onStarted_(std::move(onStarted)),
      queue_(queue),
      clock_(std::move(clock)) {}

PollingUsageProvider::~PollingUsageProvider() {
  stopMonitoring();
}

void PollingUsageProvider::startMonitoring(UsageBatchHandler onEvents, NewReportHandler onReport) {
  auto monitoring = std::make_shared<Monitoring>(Monitoring{std::move(onEvents), std::move(onReport)});
  const std::weak_ptr weak = monitoring;
  {
    const LockGuard guard(mutex_);
    std::swap(monitoring_, monitoring);
  }
  queue_.async([this, weak] {
    const auto live = weak.lock();
    if (!live) return;
    deliver(readNew(), *live);
    live->timer = queue_.timer(pollInterval, pollInterval, [this, weak] {
      if (const auto stillLive = weak.lock()) deliver(readNew(), *stillLive);
    });
    onStarted_();
  });
}

void PollingUsageProvider::stopMonitoring() {
  std::shared_ptr<Monitoring> ended;
  {
    const LockGuard guard(mutex_);
    ended = std::exchange(monitoring_, nullptr);
  }
  ended.reset();
  // A delivery that has begun ends first.
  queue_.sync([] {});
}

PollingUsageProvider::News PollingUsageProvider::readNew() {
  News news;
  source_->readNew(clock_(), [&news](UsageEvent event) { news.events.push_back(std::move(event)); });
  auto report = source_->latestReport();
  const LockGuard guard(mutex_);
  news.hasReport = report != report_;
  report_ = std::move(report);
  return news;
}

void PollingUsageProvider::deliver(News news, const Monitoring& monitoring) {
  if (!news.events.empty()) monitoring.onEvents(std::move(news.events));
  if (news.hasReport) monitoring.onReport();
}

std::vector<UsageEvent> PollingUsageProvider::pollLatestEvents() {
  std::vector<UsageEvent> events;
  queue_.sync([this, &events] {
    News news = readNew();
    events = news.events;
    std::shared_ptr<Monitoring> monitoring;
    {
      const LockGuard guard(mutex_);
      monitoring = monitoring_;
    }
    if (monitoring) deliver(std::move(news), *monitoring);
  });
  return events;
}

std::optional<ProviderBudgetReport> PollingUsageProvider::latestBudgetReport() const {
  const LockGuard guard(mutex_);
  return report_;
}

}  // namespace vigilo
