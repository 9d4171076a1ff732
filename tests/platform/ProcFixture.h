#pragma once

#include <filesystem>
#include <string>

#include "tests/support/TempFolder.h"

namespace vigilo::test {

// A folder that looks like /proc to those who read processes.
class ProcFixture : public TempFolder {
 public:
  struct Process {
    std::string arguments;  // NUL-terminated, as the kernel keeps them
    std::string executable;
    std::string name = "program";
    char state = 'S';
    int parent = 1;
    bool isKernelThread = false;
    long startTicks = 100;
    std::string cgroup = "0::/user.slice/session-1.scope\n";
  };

  // Also replaces one, as `exec` does.
  void add(int pid, const Process& process) const {
    const std::string folder = std::to_string(pid);
    write(folder + "/cmdline", process.arguments);
    write(folder + "/cgroup", process.cgroup);
    write(folder + "/stat", folder + " (" + process.name + ") " + process.state + " " +
                                std::to_string(process.parent) + " 1 1 0 -1 " +
                                (process.isKernelThread ? "2129984" : "4194304") +
                                " 9 9 9 9 9 9 9 9 20 0 1 0 " + std::to_string(process.startTicks) + " 0 0\n");
    std::filesystem::remove(path(folder + "/exe"));
    if (!process.executable.empty())
      std::filesystem::create_symlink(process.executable, path(folder + "/exe"));
  }
  // Keeps its inode, so that no later process gets it.
  void remove(int pid) {
    std::filesystem::rename(path(std::to_string(pid)), path("gone." + std::to_string(++gone_)));
  }

 private:
  int gone_ = 0;
};

}  // namespace vigilo::test
