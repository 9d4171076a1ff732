#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "platform/Directories.h"
#include "support/Date.h"
#include "support/Log.h"
#include "support/Mutex.h"
#include "usage/Budgets.h"
#include "usage/UsageLedger.h"
#include "usage/UsageRecords.h"
#include "usage/UsageStoreFile.h"

namespace vigilo {

// The one place where usage is kept: it accepts every event once, folds it into its session's record, answers
// what was used when, and saves everything to one file, "usage_store.json" in this system's folder, once that
// is large with a journal beside it. Nothing is ever dropped except by `reset`.
//
// Construction reads nothing. `load` reads the file; any other operation that comes first does it itself, so
// nothing recorded early is lost. Both wait for the disk: call the store on a queue that may wait. Thread-
// safe: one lock serialises all operations, disk writes included, except the waiting of `syncToDisk`.
class UsageStore {
 public:
  UsageStore(const Directories& directories, WriteGate mayWrite, Clock clock);

  // What `main` installed, null before. The store must outlive its use.
  static UsageStore* shared();
  static void installShared(UsageStore* store);

  const std::string& storeFilePath() const { return file_.path(); }

  // Reads the file, once. A file of the old format is saved in the current one; one that cannot be read is
  // kept beside the new one, which starts empty.
  void load();

  // Why the file that is there cannot be read, as long as it stands where the store's own file belongs.
  std::optional<std::string> whyUnreadable();

  // True when the event was new. When this returns the disk holds it; only where saving fails, which is
  // logged when it begins and when it ends, it is kept in memory and saved with the next new event.
  bool record(UsageEvent event);
  // All events that one poll found, saved together; an answer for each.
  std::vector<bool> record(std::vector<UsageEvent> events);

  // Since the beginning of the local calendar day.
  UsageSummary todaySummary();
  // Both ends included.
  UsageSummary summary(Date from, Date to);
  // The last `count` hours by the local clock, oldest first; the last one is the hour that is running.
  std::vector<UsageHour> hours(std::size_t count);
  // Newest activity first.
  std::vector<SessionUsageRecord> recentSessions(std::size_t limit);
  // What the session of the report has cost so far, in place of what its last turn did: the figure that is
  // told everywhere else. As it is where nothing of the session is on record.
  void tellCostOfSession(ProviderBudgetReport& report);
  std::vector<UsageEvent> allEvents();
  std::size_t eventCount();

  // What leaves the machine when the user exports, and the same as pretty-printed JSON with sorted keys and
  // ISO 8601 dates.
  ExportPayload exportPayload();
  std::string exportPrivacySafeJSON();

  // Forgets everything and saves that.
  void reset();

  // Saves what an earlier failure left unsaved, and brings the file to the disk, so that it also survives a
  // power failure. Does nothing when nothing has changed since the last time.
  void syncToDisk();

 private:
  void loadOnce() VIGILO_REQUIRES(mutex_);
  void save() VIGILO_REQUIRES(mutex_);
  void noteSaving(const std::optional<FileError>& error) VIGILO_REQUIRES(mutex_);

  const Clock clock_;
  Mutex mutex_;
  UsageStoreFile file_;  // its paths are constant, all else is guarded by mutex_
  UsageLedger ledger_ VIGILO_GUARDED_BY(mutex_);
  FailureEpisode saveFailure_ VIGILO_GUARDED_BY(mutex_);
  bool isLoaded_ VIGILO_GUARDED_BY(mutex_) = false;
  bool isUnsaved_ VIGILO_GUARDED_BY(mutex_) = false;
  bool isUnsynced_ VIGILO_GUARDED_BY(mutex_) = false;
};

}  // namespace vigilo
