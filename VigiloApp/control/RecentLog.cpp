#include "VigiloApp/control/RecentLog.h"

#include <algorithm>
#include <array>

#include "support/Utf8.h"

namespace vigilo {
namespace {

// Components whose ordinary lines tell of a change. The others report each hook, poll and renewal.
constexpr std::array<std::string_view, 4> telling{"coordinator", "deepsleep", "thermal", "settings"};

}  // namespace

void RecentLog::add(Date at, std::string_view category, std::string_view message, bool isError) {
  LogEntry entry{at, isError, std::string(category), shortened(message, longestMessage)};
  const LockGuard guard(mutex_);
  entries_.push_back(std::move(entry));
  if (entries_.size() > mostEntries) entries_.pop_front();
}

void RecentLog::note(Date at, LogLevel level, std::string_view category, std::string_view message) {
  const bool isError = level == LogLevel::error;
  const bool tells = level == LogLevel::info && std::ranges::find(telling, category) != telling.end();
  if (isError || tells) add(at, category, message, isError);
}

std::vector<LogEntry> RecentLog::newest(std::size_t limit) const {
  const LockGuard guard(mutex_);
  const auto count = static_cast<std::ptrdiff_t>(std::min(limit, entries_.size()));
  return {entries_.end() - count, entries_.end()};
}

}  // namespace vigilo
