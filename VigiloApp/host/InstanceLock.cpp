#include "VigiloApp/host/InstanceLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "support/PrivateFolder.h"
#include "support/RegularFile.h"

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
  attempt.error = makePrivateFolder(path.substr(0, path.rfind('/')));
  if (attempt.error) return attempt;
  auto fd = openFile(path, O_RDWR | O_CREAT);
  if (!fd) {
    attempt.error = fd.error();
  } else if (::flock(fd->get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK)
      attempt.holder = readHolder(fd->get());
    else
      attempt.error = FileError{errno, path + ": " + std::strerror(errno)};
  } else {
    const std::string text =
        std::string(role == Role::host ? "host " : "command ") + std::to_string(::getpid()) + "\n";
    // Who holds it is a help for the reader; the lock itself stands without.
    (void)!::ftruncate(fd->get(), 0);
    (void)!::pwrite(fd->get(), text.data(), text.size(), 0);
    attempt.lock = InstanceLock(*std::move(fd));
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
