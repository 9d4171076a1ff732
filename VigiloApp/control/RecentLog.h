#pragma once

#include <cstddef>
#include <cstdint>
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
// log's lines the errors and those that tell of a change. Decisions, errors and the rest are kept apart and
// lose their own oldest entries: a night of busy sessions leaves what was decided, and why, to the morning.
// Thread-safe.
class RecentLog {
 public:
  static constexpr const char* decision = "decision";  // a category
  static constexpr std::size_t longestMessage = 240;   // bytes

  void add(Date at, std::string_view category, std::string_view message, bool isError = false);
  // A line on its way to the log; kept where it is of interest, in plain words.
  void note(Date at, LogLevel level, std::string_view category, std::string_view message);
  // The newest `limit` entries, the newest last. All of them fit one control message.
  std::vector<LogEntry> newest(std::size_t limit) const;

 private:
  struct Kept {
    std::uint64_t order = 0;
    LogEntry entry;
    std::size_t bytes = 0;  // on the wire
  };
  struct Ring {
    std::size_t room;  // bytes on the wire
    std::deque<Kept> entries{};
    std::size_t bytes = 0;

    void add(Kept kept);
  };

  mutable Mutex mutex_;
  std::uint64_t added_ VIGILO_GUARDED_BY(mutex_) = 0;
  Ring decisions_ VIGILO_GUARDED_BY(mutex_){30000};
  Ring errors_ VIGILO_GUARDED_BY(mutex_){14000};
  Ring others_ VIGILO_GUARDED_BY(mutex_){20000};
};

}  // namespace vigilo
