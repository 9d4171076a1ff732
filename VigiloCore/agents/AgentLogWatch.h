#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/Date.h"
#include "support/NewestLogFiles.h"

namespace vigilo {

// Tells whether an agent has written into its logs of late: into any "*.jsonl" file below some folders, or,
// with `subfolder`, below that subfolder of each folder in them ("~/.gemini/tmp", "chats"). Made to be asked
// every second: while the newest file stays fresh, only that one is looked at; otherwise the folders are gone
// through every ten seconds. Not thread-safe.
class AgentLogWatch {
 public:
  static constexpr double searchIntervalSeconds = 10;

  explicit AgentLogWatch(std::vector<std::string> folders, std::string subfolder = {})
      : folders_(std::move(folders)), subfolder_(std::move(subfolder)) {}

  // Whether the newest log changed less than so many seconds before `now`.
  bool changedWithin(double seconds, Date now);

 private:
  std::vector<std::string> logFolders() const;
  void search();

  const std::vector<std::string> folders_;
  const std::string subfolder_;
  std::optional<LogFile> newest_;
  std::optional<Date> searchedAt_;
};

}  // namespace vigilo
