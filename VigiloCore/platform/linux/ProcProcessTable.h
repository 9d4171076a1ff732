#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/ProcessTable.h"
#include "platform/linux/ProcFolder.h"

namespace vigilo {

// The process table from /proc, in the very lines that `ps` prints, at a fourteenth of its cost. `root`
// stands for /proc. Not thread-safe.
//
// Every command line is read each time: `exec` keeps the pid, and programs rewrite their titles. Only the
// names of kernel threads, which are neither agents nor ever become any, are kept for ten readings.
class ProcProcessTable final : public ProcessTable {
 public:
  explicit ProcProcessTable(std::string root = "/proc", Clock clock = Date::now);

  std::optional<std::vector<ProcessLine>> read() override;
  std::optional<Date> startedAt(std::int32_t pid) override;
  // Absent also on a kernel that does not list the children of its threads.
  std::optional<Date> youngestChildStartedAt(std::int32_t pid) override;

 private:
  struct KernelThread {
    ino_t identity = 0;
    std::string command;
    unsigned readAt = 0;  // counted in readings
    unsigned seenAt = 0;
  };

  std::string commandOf(const ProcFolder::Entry& entry);
  std::string nameOf(const ProcFolder::Entry& entry);
  std::optional<Date> dateOf(std::int64_t startTicks) const;

  ProcFolder folder_;
  const Clock clock_;
  unsigned reading_ = 0;
  std::unordered_map<std::int32_t, KernelThread> kernelThreads_;
};

}  // namespace vigilo
