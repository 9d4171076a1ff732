#include "usage/NewestLogs.h"

#include <sys/stat.h>

#include <algorithm>

namespace vigilo {
namespace {

bool isLink(const std::string& path) {
  struct stat found {};
  return ::lstat(path.c_str(), &found) == 0 && S_ISLNK(found.st_mode);
}

}  // namespace

NewestLogs::Roots NewestLogs::roots() const {
  Roots result;
  for (const auto& folder : folders_) {
    struct stat found {};
    const bool isThere = ::stat(folder.c_str(), &found) == 0;
    result.push_back(isThere ? std::optional(std::pair(found.st_dev, found.st_ino)) : std::nullopt);
  }
  return result;
}

const std::vector<LogFile>& NewestLogs::look() {
  if (!watch_ || roots() != watchedRoots_) {
    search();
    return newest_;
  }
  const auto news = watch_->take();
  if (news.isUncertain || !std::ranges::all_of(news.files, [this](const auto& file) { return take(file); }))
    search();
  return newest_;
}

// False where that file alone does not tell which logs are the newest now.
bool NewestLogs::take(const std::string& changedFile) {
  if (!isLogFile(changedFile)) return true;
  const auto mark = FileMark::of(changedFile);
  if (!mark || isLink(changedFile)) return false;
  const auto known = std::ranges::find(newest_, changedFile, &LogFile::path);
  if (known != newest_.end()) {
    if (mark->modifiedNanoseconds < known->mark.modifiedNanoseconds) return false;
    newest_.erase(known);
  }
  insert({changedFile, *mark});
  return true;
}

void NewestLogs::insert(const LogFile& file) {
  newest_.insert(std::ranges::upper_bound(newest_, file, isOlder), file);
  if (newest_.size() > limit_) newest_.erase(newest_.begin());
}

void NewestLogs::search() {
  watch_ = isWatchable_ ? makeFolderWatch() : nullptr;
  watchedRoots_ = roots();
  newest_.clear();
  const auto watch = [this](const std::string& path, bool isFolder) {
    if (!watch_ || (isFolder && watch_->watch(path))) return;
    watch_.reset();
    isWatchable_ = false;
  };
  for (const auto& folder : folders_) {
    for (const LogFile& file : newestLogFiles(folder, limit_, watch)) insert(file);
  }
}

}  // namespace vigilo
