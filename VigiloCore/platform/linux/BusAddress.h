#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string_view>
#include <vector>

namespace vigilo::bus {

struct SocketAddress {
  sockaddr_un address{};
  socklen_t length = 0;
};

// The UNIX sockets that a bus address names ("unix:path=/run/bus,guid=1a;unix:abstract=x"), in its order.
// What is of another kind, or is no address, is left out. Thread-safe.
std::vector<SocketAddress> unixSocketsOf(std::string_view busAddress);

}  // namespace vigilo::bus
