#pragma once

#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

#include <cstddef>
#include <optional>
#include <string_view>

#include "support/UniqueFd.h"

namespace vigilo {

// Plain calls on UNIX-domain stream sockets; errno tells why a call failed. No JSON, no exceptions, no
// allocation: the relay links this file. Thread-safe.

// The longest socket path, in bytes without the terminating zero, that every platform's address holds.
inline constexpr std::size_t longestSocketPath = 103;

// Absent when the path is empty, longer than `longestSocketPath`, or holds a zero byte.
std::optional<sockaddr_un> unixSocketAddress(std::string_view path);

// A stream socket, closed on exec, that cannot raise SIGPIPE where the platform sets that on the socket.
UniqueFd makeUnixSocket();

// Sets the receive and the send time-out of a socket.
void setSocketTimeouts(int fd, int milliseconds);

// One write, without SIGPIPE. The count written, or -1.
ssize_t sendOnce(int fd, std::string_view bytes);

// The next connection, closed on exec and, unless `blocking`, non-blocking; empty with errno set where there
// is none.
UniqueFd acceptConnection(int listeningFd, bool blocking = false);

// The user id of the process at the other end at the time when it connected; absent when the system does not
// say.
std::optional<uid_t> peerUserId(int fd);

// Connects to `path`, writes the bytes in one write, reads up to 64 bytes of acknowledgement (content and
// time-out are ignored) and closes. True when the bytes were written whole. `timeoutMs` bounds the write and
// the read, each.
bool sendToUnixSocket(std::string_view path, std::string_view bytes, int timeoutMs);

}  // namespace vigilo
