#include "VigiloApp/control/RecentLog.h"

#include <algorithm>
#include <array>

#include "VigiloApp/control/ControlProtocol.h"
#include "VigiloApp/control/PlainWords.h"
#include "support/Utf8.h"

namespace vigilo {
namespace {

// Components whose ordinary lines tell of a change. The others report each hook, poll and renewal.
constexpr std::array<std::string_view, 3> telling{"clock", "thermal", "settings"};
// Components whose errors the host tells in words of its own.
constexpr std::array<std::string_view, 2> toldOtherwise{"agents", "deepsleep"};

bool contains(const auto& categories, std::string_view category) {
  return std::ranges::find(categories, category) != categories.end();
}

}  // namespace

void RecentLog::Ring::add(Kept kept) {
  bytes += kept.bytes;
  entries.push_back(std::move(kept));
  while (bytes > room) {
    bytes -= entries.front().bytes;
    entries.pop_front();
  }
}

void RecentLog::add(Date at, std::string_view category, std::string_view message, bool isError) {
  Kept kept{.entry = {at, isError, std::string(category), shortened(message, longestMessage)}};
  kept.bytes = encodeRecord(kept.entry, controlForm).size() + 1;  // and a comma
  const LockGuard guard(mutex_);
  kept.order = added_++;
  Ring& ring = isError ? errors_ : category == decision ? decisions_ : others_;
  ring.add(std::move(kept));
}

void RecentLog::note(Date at, LogLevel level, std::string_view category, std::string_view message) {
  const bool isError = level == LogLevel::error;
  const bool tells =
      isError ? !contains(toldOtherwise, category) : level == LogLevel::info && contains(telling, category);
  if (tells) add(at, category, plainWords(message), isError);
}

std::vector<LogEntry> RecentLog::newest(std::size_t limit) const {
  std::vector<Kept> all;
  {
    const LockGuard guard(mutex_);
    for (const Ring* ring : {&decisions_, &errors_, &others_})
      all.insert(all.end(), ring->entries.begin(), ring->entries.end());
  }
  std::ranges::sort(all, {}, &Kept::order);
  all.erase(all.begin(), all.end() - static_cast<std::ptrdiff_t>(std::min(limit, all.size())));
  std::vector<LogEntry> entries;
  entries.reserve(all.size());
  for (Kept& kept : all) entries.push_back(std::move(kept.entry));
  return entries;
}

}  // namespace vigilo
