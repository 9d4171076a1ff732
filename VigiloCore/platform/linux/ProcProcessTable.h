#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/ProcessTable.h"
#include "platform/linux/ProcFolder.h"

namespace vigilo {

// The process table from /proc, in the very lines that `ps` prints, at a fraction of its cost. `root` stands
// for /proc. Not thread-safe.
//
// A process is read in each of its first ten readings, of which the host makes one a second: `exec` keeps the
// pid and programs rewrite their titles, but soon after their start. An older one is read again in every
// second reading where it is a shell or another program that runs the next one in its own place, otherwise in
// every tenth; and in the next one where its start or its children were asked for, since it matters to
// somebody when it ends, also where it stays as a zombie, which is left out. It is known to be the same
// process by the inode of its folder, which the listing brings for nothing.
class ProcProcessTable final : public ProcessTable {
 public:
  explicit ProcProcessTable(std::string root = "/proc", Clock clock = Date::now);

  std::optional<std::vector<ProcessLine>> read() override;
  std::optional<Date> startedAt(std::int32_t pid) override;
  // Absent also on a kernel that does not list the children of its threads.
  std::optional<Date> youngestChildStartedAt(std::int32_t pid) override;

 private:
  struct Known {
    ino_t identity = 0;
    std::string command;      // empty where it could not be read, or is too long to be kept
    unsigned youngUntil = 0;  // the reading from which on it is an old one
    unsigned lastReading = 0;
    unsigned askedAt = 0;  // the last reading after which somebody asked about it
    bool isKernelThread = false;
    bool hasEnded = false;          // a zombie, for as long as its parent does not look at its end
    bool maySucceedItself = false;  // a shell, or an interpreter
  };

  void noteInterest(std::int32_t pid);
  bool isDue(const Known& known, std::int32_t pid) const;
  std::string commandOf(const ProcFolder::Entry& entry);
  std::string readCommand(std::int32_t pid, Known& known);
  std::optional<Date> dateOf(std::int64_t startTicks) const;

  ProcFolder folder_;
  const Clock clock_;
  unsigned reading_ = 0;
  std::unordered_map<std::int32_t, Known> known_;
};

}  // namespace vigilo
