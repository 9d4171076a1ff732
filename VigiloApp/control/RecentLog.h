#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "support/Date.h"
#include "support/LogSink.h"
#include "support/Mutex.h"
#include "support/RecordFields.h"

namespace vigilo {

// One line of what happened lately, for people.
struct LogEntry {
  Date at;
  bool isError = false;
  std::string category;  // "decision", "session", or the log's category
  std::string message;

  bool operator==(const LogEntry&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("at", &LogEntry::at), field("isError", &LogEntry::isError),
                      field("category", &LogEntry::category), field("message", &LogEntry::message)};
  }
};

// What happened lately in the host, in memory: decisions and sessions, which the host tells it, and of the
// log's lines the errors and those that tell of a change. The oldest entries go first. Thread-safe.
class RecentLog {
 public:
  static constexpr std::size_t mostEntries = 200;
  static constexpr std::size_t longestMessage =
      240;  // bytes: all entries of one answer fit a control message

  void add(Date at, std::string_view category, std::string_view message, bool isError = false);
  // A line on its way to the log; kept where it is of interest.
  void note(Date at, LogLevel level, std::string_view category, std::string_view message);
  // The newest `limit` entries, the newest last.
  std::vector<LogEntry> newest(std::size_t limit) const;

 private:
  mutable Mutex mutex_;
  std::deque<LogEntry> entries_ VIGILO_GUARDED_BY(mutex_);
};

}  // namespace vigilo
