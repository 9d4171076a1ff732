#include "support/UnixSocket.h"

#include <fcntl.h>
#include <sys/time.h>

#include <cerrno>
#include <cstring>

namespace vigilo {

std::optional<sockaddr_un> unixSocketAddress(std::string_view path) {
  if (path.empty() || path.size() > longestSocketPath || path.find('\0') != std::string_view::npos) {
    errno = ENAMETOOLONG;
    return std::nullopt;
  }
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

UniqueFd makeUnixSocket() {
#if defined(__APPLE__)
  UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM, 0));
  const int on = 1;
  if (fd) ::fcntl(fd.get(), F_SETFD, FD_CLOEXEC);
  if (fd) ::setsockopt(fd.get(), SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
  return fd;
#else
  return UniqueFd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
#endif
}

void setSocketTimeouts(int fd, int milliseconds) {
  timeval limit{};
  limit.tv_sec = milliseconds / 1000;
  limit.tv_usec = (milliseconds % 1000) * 1000;
  ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

ssize_t sendOnce(int fd, std::string_view bytes) {
#if defined(__APPLE__)
  constexpr int flags = 0;
#else
  constexpr int flags = MSG_NOSIGNAL;
#endif
  ssize_t count;
  do {
    count = ::send(fd, bytes.data(), bytes.size(), flags);
  } while (count < 0 && errno == EINTR);
  return count;
}

UniqueFd acceptConnection(int listeningFd, bool blocking) {
#if defined(__APPLE__)
  UniqueFd fd(::accept(listeningFd, nullptr, nullptr));
  if (!fd) return fd;
  const int on = 1;
  ::fcntl(fd.get(), F_SETFD, FD_CLOEXEC);
  ::setsockopt(fd.get(), SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
  ::fcntl(fd.get(), F_SETFL, blocking ? 0 : O_NONBLOCK);
  return fd;
#else
  return UniqueFd(::accept4(listeningFd, nullptr, nullptr, SOCK_CLOEXEC | (blocking ? 0 : SOCK_NONBLOCK)));
#endif
}

std::optional<uid_t> peerUserId(int fd) {
#if defined(__APPLE__)
  uid_t user = 0;
  gid_t group = 0;
  if (::getpeereid(fd, &user, &group) != 0) return std::nullopt;
  return user;
#else
  ucred peer{};
  socklen_t size = sizeof peer;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return std::nullopt;
  return peer.uid;
#endif
}

bool sendToUnixSocket(std::string_view path, std::string_view bytes, int timeoutMs) {
  const UniqueFd fd = makeUnixSocket();
  // The address counts the terminating zero as well: a path of 103 bytes is refused before any connection.
  if (!fd || path.size() + 1 > longestSocketPath) return false;
  setSocketTimeouts(fd.get(), timeoutMs);
  const auto address = unixSocketAddress(path);
  if (!address || ::connect(fd.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
    return false;
  }
  if (sendOnce(fd.get(), bytes) != static_cast<ssize_t>(bytes.size())) return false;
  char acknowledgement[64];
  (void)::recv(fd.get(), acknowledgement, sizeof acknowledgement, 0);
  return true;
}

}  // namespace vigilo
