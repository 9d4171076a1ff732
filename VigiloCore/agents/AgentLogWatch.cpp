#include "agents/AgentLogWatch.h"

#include <cmath>
#include <filesystem>

namespace vigilo {
namespace {

// A time in the future is a clock that was set, not a log that stays fresh until then.
bool isFresh(const FileMark& mark, double seconds, Date now) {
  return std::abs(now - mark.modifiedAt()) < seconds;
}

}  // namespace

bool AgentLogWatch::changedWithin(double seconds, Date now) {
  if (newest_) {
    const auto mark = FileMark::of(newest_->path);
    if (mark && isFresh(*mark, seconds, now)) return true;
  }
  if (searchedAt_ && std::abs(now - *searchedAt_) < searchIntervalSeconds) return false;
  searchedAt_ = now;
  search();
  return newest_ && isFresh(newest_->mark, seconds, now);
}

void AgentLogWatch::search() {
  newest_.reset();
  for (const auto& folder : logFolders()) {
    for (auto& file : newestLogFiles(folder, 1)) {
      if (!newest_ || newest_->mark.modifiedNanoseconds < file.mark.modifiedNanoseconds)
        newest_ = std::move(file);
    }
  }
}

std::vector<std::string> AgentLogWatch::logFolders() const {
  if (subfolder_.empty()) return folders_;
  std::vector<std::string> found;
  for (const auto& folder : folders_) {
    std::error_code error;
    for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end;
         at.increment(error)) {
      found.push_back(at->path().string() + "/" + subfolder_);
    }
  }
  return found;
}

}  // namespace vigilo
