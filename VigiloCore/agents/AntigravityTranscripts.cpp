#include "agents/AntigravityTranscripts.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <utility>

#include "support/FileMark.h"

namespace vigilo {
namespace {

constexpr std::size_t mostConversations = 5;
constexpr const char* transcript = "/.system_generated/logs/transcript.jsonl";

}  // namespace

std::vector<Date> newestTranscriptChanges(const std::string& brainFolder) {
  namespace fs = std::filesystem;
  std::vector<std::pair<fs::file_time_type, std::string>> entries;
  std::error_code error;
  for (fs::directory_iterator at(brainFolder, error), end; !error && at != end; at.increment(error)) {
    if (at->path().filename().string().starts_with(".")) continue;
    std::error_code unreadable;
    const auto modified = fs::last_write_time(at->path(), unreadable);
    if (!unreadable) entries.emplace_back(modified, at->path().string());
  }
  const auto kept =
      entries.begin() + static_cast<std::ptrdiff_t>(std::min(entries.size(), mostConversations));
  std::partial_sort(entries.begin(), kept, entries.end(), std::greater());
  std::vector<Date> changes;
  for (auto entry = entries.begin(); entry != kept; ++entry) {
    const auto mark = FileMark::of(entry->second + transcript);
    if (mark) changes.push_back(mark->modifiedAt());
  }
  return changes;
}

}  // namespace vigilo
