#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/UniqueFd.h"

namespace vigilo {

// What is worth knowing of /proc/PID/stat.
struct ProcStat {
  std::string_view name;  // within the text that was parsed
  char state = '?';
  std::int32_t parent = 0;
  bool isKernelThread = false;
  std::int64_t startTicks = 0;  // since the machine's start, in units of sysconf(_SC_CLK_TCK)

  // It has ended: its parent has not looked yet, or it is just leaving.
  bool hasEnded() const { return state == 'Z' || state == 'X'; }

  static std::optional<ProcStat> parse(std::string_view text);
};

// An open folder of processes: /proc, or one that a test made. What is missing, or belongs to somebody who
// does not show it, is absent. Not thread-safe: all readings share one buffer.
class ProcFolder {
 public:
  // No more of a file is read: as much as `ps` takes of a command line.
  static constexpr std::size_t readLimit = 128 * 1024;

  struct Entry {
    std::int32_t pid = 0;
    // Which process has the pid: the kernel makes a new one for each process. It may also change where the
    // process did not, so it tells only that something is as it was.
    ino_t identity = 0;
  };

  explicit ProcFolder(std::string root);

  // The processes by ascending pid. Absent where the folder cannot be listed, or lists none.
  std::optional<std::vector<Entry>> list();
  // The names below "PID/NAME" that are numbers, such as the threads in "task".
  std::vector<std::int32_t> numbersIn(std::int32_t pid, const char* name);

  // The file "PID/NAME"; valid until the next call.
  std::optional<std::string_view> read(std::int32_t pid, const char* name);
  // Where the link "PID/NAME" leads to, without the mark of a file that is no more.
  std::optional<std::string> readLink(std::int32_t pid, const char* name);
  // Valid until the next call.
  std::optional<ProcStat> stat(std::int32_t pid);

 private:
  int folder();

  const std::string root_;
  UniqueFd folder_;  // opened when it is first asked for
  std::unique_ptr<char[]> buffer_;
};

}  // namespace vigilo
