#pragma once

#include <sys/types.h>
#include <optional>
#include <string>

#include "support/AtomicFile.h"
#include "support/UniqueFd.h"

namespace vigilo {

// The lock that makes a host the only one of its user, and that a command holds while it writes settings
// without a host. It goes with the process, however that ends. Not thread-safe.
class InstanceLock {
 public:
  enum class Role { host, command };
  struct Holder {
    Role role{};
    pid_t pid = 0;
  };
  // Either the lock, or who has it, or neither with the reason.
  struct Attempt;

  // Takes the lock at `path` if it is free; makes the file where it is missing, and its folder one in which
  // nobody else writes.
  static Attempt tryTake(const std::string& path, Role role);
  // The same, but waits up to `milliseconds` while a command has it: that one is through in a moment.
  static Attempt take(const std::string& path, Role role, int milliseconds);

 private:
  explicit InstanceLock(UniqueFd fd) : fd_(std::move(fd)) {}
  UniqueFd fd_;
};

struct InstanceLock::Attempt {
  std::optional<InstanceLock> lock;
  std::optional<Holder> holder;
  std::optional<FileError> error;
};

}  // namespace vigilo
