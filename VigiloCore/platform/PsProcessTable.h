#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/ProcessTable.h"
#include "support/Log.h"

namespace vigilo {

// The process table as the tool `ps` prints it. A run that has not ended within the time limit is killed, and
// the next one waits a minute: where one hangs, the next does too. Not thread-safe.
class PsProcessTable final : public ProcessTable {
 public:
  explicit PsProcessTable(std::string tool = "/bin/ps",
                          std::chrono::milliseconds timeLimit = std::chrono::seconds(2))
      : tool_(std::move(tool)), timeLimit_(timeLimit) {}

  // Absent when the tool cannot be run, fails, or prints something other than UTF-8.
  std::optional<std::vector<ProcessLine>> read() override;

 private:
  std::optional<std::string> output();

  const Log log_{"com.vigilo.app", "agents"};
  const std::string tool_;
  const std::chrono::milliseconds timeLimit_;
  FailureEpisode failure_;
  std::optional<std::chrono::steady_clock::time_point> notBefore_;
};

}  // namespace vigilo
