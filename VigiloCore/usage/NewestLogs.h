#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/FolderWatch.h"
#include "support/NewestLogFiles.h"

namespace vigilo {

// The newest logs below some folders, for whoever asks every few seconds: `newestLogFiles`, but where the
// folders can be watched, only what was written since the last time is looked at. Where they cannot, a
// network share or files that are links, all of them are gone through each time. Not thread-safe.
class NewestLogs {
 public:
  NewestLogs(std::vector<std::string> folders, std::size_t limit)
      : folders_(std::move(folders)), limit_(limit) {}

  // Oldest first; valid until the next look.
  const std::vector<LogFile>& look();

 private:
  // What the folders' names lead to, each absent where there is nothing.
  using Roots = std::vector<std::optional<std::pair<dev_t, ino_t>>>;

  Roots roots() const;
  bool take(const std::string& changedFile);
  void insert(const LogFile& file);
  void search();

  const std::vector<std::string> folders_;
  const std::size_t limit_;
  std::vector<LogFile> newest_;
  std::unique_ptr<FolderWatch> watch_;  // null where all is to be gone through
  Roots watchedRoots_;
  bool isWatchable_ = true;
};

}  // namespace vigilo
