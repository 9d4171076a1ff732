#include "usage/NewestLogs.h"

#include <sys/stat.h>

#include <algorithm>
#include <optional>

namespace vigilo {
namespace {

std::optional<std::pair<dev_t, ino_t>> identityOf(const std::string& folder) {
  struct stat found {};
  if (::stat(folder.c_str(), &found) != 0) return std::nullopt;
  return std::pair(found.st_dev, found.st_ino);
}

bool isLink(const std::string& path) {
  struct stat found {};
  return ::lstat(path.c_str(), &found) == 0 && S_ISLNK(found.st_mode);
}

}  // namespace

const std::vector<LogFile>& NewestLogs::look() {
  if (!watch_ || identityOf(folder_) != root_) {
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
  const LogFile file{changedFile, *mark};
  newest_.insert(std::ranges::upper_bound(newest_, file, isOlder), file);
  if (newest_.size() > limit_) newest_.erase(newest_.begin());
  return true;
}

void NewestLogs::search() {
  watch_ = isWatchable_ ? makeFolderWatch() : nullptr;
  const auto root = identityOf(folder_);
  if (!root) watch_.reset();
  newest_ = newestLogFiles(folder_, limit_, [this](const std::string& path, bool isFolder) {
    if (!watch_ || (isFolder && watch_->watch(path))) return;
    watch_.reset();
    isWatchable_ = false;
  });
  if (root) root_ = *root;
}

}  // namespace vigilo
