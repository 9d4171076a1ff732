#include "usage/UsageStore.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <limits>
#include <utility>

#include "support/RecordCoder.h"
#include "usage/LocalDay.h"

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.app", "usage.store"};

std::atomic<UsageStore*> sharedStore = nullptr;

}  // namespace

UsageStore* UsageStore::shared() {
  return sharedStore;
}

void UsageStore::installShared(UsageStore* store) {
  sharedStore = store;
}

UsageStore::UsageStore(const Directories& directories, WriteGate mayWrite, Clock clock)
    : clock_(std::move(clock)), file_(directories.vigilo() + "/usage_store.json", std::move(mayWrite)) {}

void UsageStore::load() {
  const LockGuard guard(mutex_);
  loadOnce();
}

void UsageStore::loadOnce() {
  if (isLoaded_) return;
  isLoaded_ = true;
  auto loaded = file_.load();
  ledger_ = std::move(loaded.ledger);
  if (loaded.schemaVersion) {
    logger.info("Loaded %ld usage events across %ld sessions from disk (schema v%ld)", ledger_.eventCount(),
                ledger_.sessionCount(), *loaded.schemaVersion);
  } else if (loaded.isOfOldFormat) {
    logger.info("Migrated %ld usage events from legacy schema to schema v1", ledger_.eventCount());
    save();
  }
}

std::optional<std::string> UsageStore::whyUnreadable() {
  const LockGuard guard(mutex_);
  loadOnce();
  return file_.unreadable();
}

void UsageStore::save() {
  noteSaving(file_.save(ledger_));
}

void UsageStore::noteSaving(const std::optional<FileError>& error) {
  isUnsaved_ = error.has_value();
  isUnsynced_ = true;
  if (error) {
    if (saveFailure_.begins(error->description)) {
      logger.error("Failed to save usage store: %s", error->description);
    }
  } else if (saveFailure_.ends()) {
    logger.info("The usage store is saved again");
  }
}

bool UsageStore::record(UsageEvent event) {
  std::vector<UsageEvent> batch;
  batch.push_back(std::move(event));
  return record(std::move(batch)).front();
}

std::vector<bool> UsageStore::record(std::vector<UsageEvent> events) {
  const LockGuard guard(mutex_);
  loadOnce();
  std::vector<bool> isNew;
  std::size_t added = 0;
  std::size_t refused = 0;
  for (UsageEvent& event : events) {
    const auto addition = ledger_.add(std::move(event));
    isNew.push_back(addition == UsageLedger::Addition::added);
    added += addition == UsageLedger::Addition::added;
    refused += addition == UsageLedger::Addition::refused;
  }
  if (refused > 0) logger.error("Refused %ld usage events whose figures are out of range", refused);
  if (added > 0) save();
  return isNew;
}

UsageSummary UsageStore::todaySummary() {
  const Date start = LocalDay::containing(clock_()).start;
  return summary(start, {std::numeric_limits<double>::infinity()});
}

UsageSummary UsageStore::summary(Date from, Date to) {
  const LockGuard guard(mutex_);
  loadOnce();
  return ledger_.summary([&](Date timestamp) { return from <= timestamp && timestamp <= to; });
}

std::vector<UsageHour> UsageStore::hours(std::size_t count) {
  const Date running = startOfLocalHour(clock_());
  std::vector<UsageHour> hours(count);
  for (std::size_t i = 0; i < count; ++i) {
    hours[i].start = running - 3600.0 * static_cast<double>(count - 1 - i);
  }
  const LockGuard guard(mutex_);
  loadOnce();
  ledger_.addTo(hours);
  return hours;
}

std::vector<SessionUsageRecord> UsageStore::recentSessions(std::size_t limit) {
  const LockGuard guard(mutex_);
  loadOnce();
  return ledger_.recentSessions(limit);
}

void UsageStore::tellCostOfSession(ProviderBudgetReport& report) {
  if (!report.sessionId) return;
  const LockGuard guard(mutex_);
  loadOnce();
  const auto session = ledger_.session(*report.sessionId);
  if (!session) return;
  report.cost.reset();
  if (session->estimatedCostUSD) {
    report.cost = CostBudget{std::max(*session->estimatedCostUSD, 0.0), true, session->unpricedTurnCount};
  }
}

std::vector<UsageEvent> UsageStore::allEvents() {
  const LockGuard guard(mutex_);
  loadOnce();
  return ledger_.allEvents();
}

std::size_t UsageStore::eventCount() {
  const LockGuard guard(mutex_);
  loadOnce();
  return ledger_.eventCount();
}

ExportPayload UsageStore::exportPayload() {
  const LockGuard guard(mutex_);
  loadOnce();
  ExportPayload payload;
  payload.exportedAt = clock_();
  const LocalDay today = LocalDay::containing(payload.exportedAt);
  payload.todaySummary = ledger_.summary([&](Date timestamp) { return today.contains(timestamp); });
  payload.sessions = ledger_.recentSessions(ledger_.sessionCount());
  payload.eventCount = static_cast<std::int64_t>(ledger_.eventCount());
  return payload;
}

std::string UsageStore::exportPrivacySafeJSON() {
  return encodeRecord(exportPayload(), exportForm);
}

void UsageStore::reset() {
  const LockGuard guard(mutex_);
  loadOnce();
  ledger_ = UsageLedger();
  noteSaving(file_.replace(ledger_));
  logger.info("UsageStore reset completed.");
}

void UsageStore::syncToDisk() {
  {
    const LockGuard guard(mutex_);
    if (isUnsaved_) save();
    if (isUnsaved_ || !isUnsynced_) return;
    isUnsynced_ = false;
  }
  // Not under the lock: the disk may need seconds, and what is replaced meanwhile is synced the next time.
  for (const std::string& path : file_.paths()) {
    const auto error = syncFile(path);
    if (error && error->code != ENOENT) logger.error("Failed to sync usage store: %s", error->description);
  }
}

}  // namespace vigilo
