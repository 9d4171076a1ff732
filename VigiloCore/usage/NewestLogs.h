#pragma once

#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/FolderWatch.h"
#include "support/NewestLogFiles.h"

namespace vigilo {

// The newest logs below a folder, for whoever asks every few seconds: `newestLogFiles`, but where the folders
// can be watched, only what was written since the last time is looked at. Where they cannot, a network share
// or files that are links, all of them are gone through each time. Not thread-safe.
class NewestLogs {
 public:
  NewestLogs(std::string folder, std::size_t limit) : folder_(std::move(folder)), limit_(limit) {}

  // Oldest first; valid until the next look.
  const std::vector<LogFile>& look();

 private:
  bool take(const std::string& changedFile);
  void search();

  const std::string folder_;
  const std::size_t limit_;
  std::vector<LogFile> newest_;
  std::unique_ptr<FolderWatch> watch_;  // null where all is to be gone through
  std::pair<dev_t, ino_t> root_;        // while watched: what the folder's name led to
  bool isWatchable_ = true;
};

}  // namespace vigilo
