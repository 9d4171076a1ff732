#pragma once

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/ProcessTable.h"
#include "support/Log.h"

namespace vigilo {

// One source, and another for as long as the first gives nothing. Not thread-safe.
class LinuxProcessTable final : public ProcessTable {
 public:
  LinuxProcessTable(std::unique_ptr<ProcessTable> proc, std::unique_ptr<ProcessTable> tool)
      : proc_(std::move(proc)), tool_(std::move(tool)) {}

  std::optional<std::vector<ProcessLine>> read() override;
  std::optional<Date> startedAt(std::int32_t pid) override { return proc_->startedAt(pid); }
  std::optional<Date> youngestChildStartedAt(std::int32_t pid) override {
    return proc_->youngestChildStartedAt(pid);
  }

 private:
  const Log log_{"com.vigilo.app", "agents"};
  const std::unique_ptr<ProcessTable> proc_;
  const std::unique_ptr<ProcessTable> tool_;
  FailureEpisode failure_;
};

}  // namespace vigilo
