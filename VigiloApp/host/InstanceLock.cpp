#include "VigiloApp/host/InstanceLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

#include "support/AtomicFile.h"

namespace vigilo {
namespace {

InstanceLock::Holder readHolder(int fd) {
  char text[64] = {};
  InstanceLock::Holder holder;
  char role[16] = {};
  int pid = 0;
  if (::pread(fd, text, sizeof text - 1, 0) > 0 && std::sscanf(text, "%15s %d", role, &pid) == 2) {
    holder.pid = pid;
    holder.role = std::string(role) == "host" ? InstanceLock::Role::host : InstanceLock::Role::command;
  } else {
    // Taken, but not signed yet: treat it as passing.
    holder.role = InstanceLock::Role::command;
  }
  return holder;
}

}  // namespace

InstanceLock::Attempt InstanceLock::tryTake(const std::string& path, Role role) {
  Attempt attempt;
  if (const auto error = makeFolders(path.substr(0, path.rfind('/')), 0700)) {
    attempt.error = error->code;
    return attempt;
  }
  UniqueFd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!fd) {
    attempt.error = errno;
  } else if (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK)
      attempt.holder = readHolder(fd.get());
    else
      attempt.error = errno;
  } else {
    const std::string text =
        std::string(role == Role::host ? "host " : "command ") + std::to_string(::getpid()) + "\n";
    // Who holds it is a help for the reader; the lock itself stands without.
    (void)!::ftruncate(fd.get(), 0);
    (void)!::pwrite(fd.get(), text.data(), text.size(), 0);
    attempt.lock = InstanceLock(std::move(fd));
  }
  return attempt;
}

InstanceLock::Attempt InstanceLock::take(const std::string& path, Role role, int milliseconds) {
  using namespace std::chrono;
  const auto deadline = steady_clock::now() + std::chrono::milliseconds(milliseconds);
  for (;;) {
    Attempt attempt = tryTake(path, role);
    const bool passing = attempt.holder && attempt.holder->role == Role::command;
    if (!passing || steady_clock::now() >= deadline) return attempt;
    std::this_thread::sleep_for(5ms);
  }
}

}  // namespace vigilo
