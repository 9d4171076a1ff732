#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/RunningApplications.h"
#include "platform/linux/DesktopEntries.h"
#include "platform/linux/ProcFolder.h"

namespace vigilo {

// The graphical applications among the processes in /proc, for which `root` stands. Not thread-safe.
//
// Which application a process is, in this order: that of the desktop entry which starts its program; one of
// the editors that run from anywhere, by the program's name; that of the scope or service into which a
// desktop put it. Its main process is the one whose parent is not of the same program, nor of the same
// application, and that was not given a part ("--type=renderer") to play.
//
// What a process is found to be is kept for as long as it lives, and looked at again while it is young and
// then now and then, since `exec` makes another program of it.
class ProcRunningApplications final : public RunningApplications {
 public:
  explicit ProcRunningApplications(std::string root, DesktopEntries entries);

  std::vector<RunningApplication> list() override;

 private:
  struct Known {
    ino_t identity = 0;
    unsigned firstListing = 0;
    unsigned lastListing = 0;
    std::string executable;
    std::optional<RunningApplication> application;
  };
  // Which application a process belongs to, main process or not.
  struct Belonging {
    std::string id;
    std::string name;
  };

  bool isDue(const Known& known, std::int32_t pid) const;
  void look(Known& known, std::int32_t pid);
  std::optional<Belonging> belonging(std::int32_t pid, const std::string& executable);
  std::optional<Belonging> belongingByScope(std::int32_t pid);
  bool isMainProcess(std::int32_t pid, const std::string& executable, const std::string& id);

  ProcFolder folder_;
  DesktopEntries entries_;
  unsigned listing_ = 0;
  std::unordered_map<std::int32_t, Known> known_;
};

}  // namespace vigilo
