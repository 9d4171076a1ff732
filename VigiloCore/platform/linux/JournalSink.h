#pragma once

#include <atomic>
#include <chrono>
#include <string>

#include "support/StandardErrorSink.h"

namespace vigilo {

// Writes to the system's journal where there is one, with the subsystem and the category as fields of the
// entry, and else to standard error, without the debug lines. Looks for the journal once a minute, since it
// may come later. Thread-safe.
class JournalSink final : public LogSink {
 public:
  static constexpr const char* journalSocket = "/run/systemd/journal/socket";

  explicit JournalSink(std::string identifier, std::string socket = journalSocket);

  bool accepts(LogLevel level) const noexcept override;
  void write(LogLevel level, std::string_view subsystem, std::string_view category,
             std::string_view message) noexcept override;

 private:
  using Steady = std::chrono::steady_clock;
  bool hasJournal() const noexcept;

  const std::string identifier_;
  const std::string socket_;
  StandardErrorSink standardError_{LogLevel::info};
  mutable std::atomic<bool> hasJournal_{false};
  mutable std::atomic<Steady::time_point> nextLook_{Steady::time_point::min()};
};

}  // namespace vigilo
