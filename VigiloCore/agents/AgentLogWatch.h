#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/Date.h"
#include "support/NewestLogFiles.h"

namespace vigilo {

// Tells whether an agent has written into its logs of late: into any "*.jsonl" file below a folder, or, with
// `subfolder`, below that subfolder of each folder in it ("~/.gemini/tmp", "chats"). Made to be asked every
// second: while the newest file stays fresh, only that one is looked at; otherwise the folder is gone through
// every ten seconds. Not thread-safe.
class AgentLogWatch {
 public:
  static constexpr double searchIntervalSeconds = 10;

  explicit AgentLogWatch(std::string folder, std::string subfolder = {})
      : folder_(std::move(folder)), subfolder_(std::move(subfolder)) {}

  // Whether the newest log changed less than so many seconds before `now`.
  bool changedWithin(double seconds, Date now);

 private:
  std::vector<std::string> folders() const;
  void search();

  const std::string folder_;
  const std::string subfolder_;
  std::optional<LogFile> newest_;
  std::optional<Date> searchedAt_;
};

}  // namespace vigilo
