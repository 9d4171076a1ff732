#pragma once

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "usage/EncodedList.h"
#include "usage/SeenKeys.h"
#include "usage/UsageFigures.h"
#include "usage/UsageRecords.h"

namespace vigilo {

// All usage on record, in memory: the events in the order in which they were accepted, the record of each
// session, and the keys of all events. Each event is encoded once, when it comes, and kept as that text
// beside the few figures that summaries need; so the store's file is put together from pieces that are there
// already, and a history of N bytes takes little more than N bytes. Not thread-safe; movable, not copyable.
//
// Every figure that comes in counts towards one limit far inside of 64 bits. What would exceed it, or is not
// a number, is refused: so no sum over any part of the ledger can overflow.
class UsageLedger {
 public:
  enum class Addition { added, duplicate, refused };

  UsageLedger() = default;
  UsageLedger(UsageLedger&&) = default;
  UsageLedger& operator=(UsageLedger&&) = default;

  // Takes an event that was not seen before and folds it into its session.
  Addition add(UsageEvent event);

  // Take what a file holds. False for figures that are refused; nothing is taken then.
  bool restore(const UsageEvent& event);
  bool restore(const std::string& sessionId, const SessionUsageRecord& session);
  void restore(const std::string& key) { seen_.insert(key); }

  std::size_t eventCount() const { return events_.size(); }
  std::size_t sessionCount() const;

  // The sums over the events whose timestamps are chosen.
  UsageSummary summary(const std::function<bool(Date)>& chosen) const;
  // Adds each event to the hour that it falls into: the hours are of equal length and follow one another.
  void addTo(std::vector<UsageHour>& hours) const;
  // The most recently active sessions first, at most `limit` of them.
  std::vector<SessionUsageRecord> recentSessions(std::size_t limit) const;
  // Absent where there is no record of it.
  std::optional<SessionUsageRecord> session(const std::string& sessionId) const;
  // Decodes them: slow for a long history.
  std::vector<UsageEvent> allEvents() const;

  // The events from number `first` on as they are stored, valid as long as the ledger.
  std::vector<std::string_view> encodedEvents(std::size_t first) const;
  // The store's file, as pieces that stay valid until the next change.
  std::vector<std::string_view> filePieces() const;

 private:
  struct StoredSession {
    std::optional<SessionUsageRecord> record;  // absent where a file names the session in its events only
    std::string encoded;                       // the record as a member of "sessions", a comma before it
    std::int64_t unpricedTurns = 0;

    SessionUsageRecord shown() const;  // the record, with what the file does not hold
  };
  struct StoredEvent {
    std::string_view encoded;  // in encodedEvents_
    const StoredSession* session;
    UsageFigures figures;
    Date timestamp;
    AgentType agentType;
  };

  bool admits(double magnitude);
  void append(const UsageEvent& event, std::string_view encoded);
  void fold(const UsageEvent& event);
  void put(const std::string& sessionId, SessionUsageRecord record);

  EncodedList encodedEvents_;
  std::deque<StoredEvent> events_;
  std::map<std::string, StoredSession> sessions_;
  SeenKeys seen_;
  double magnitude_ = 0;  // of all figures that came in
};

}  // namespace vigilo
