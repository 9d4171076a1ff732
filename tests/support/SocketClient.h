#pragma once

#include <poll.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include "support/UnixSocket.h"

namespace vigilo::test {

// One client's connection to a UNIX-domain socket.
class SocketClient {
 public:
  explicit SocketClient(const std::string& path) : fd_(makeUnixSocket()) {
    const auto address = unixSocketAddress(path);
    if (!address ||
        ::connect(fd_.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
      throw std::runtime_error("cannot connect to " + path);
    }
  }

  void send(std::string_view bytes) { (void)sendOnce(fd_.get(), bytes); }

  // Everything until the other end closes; "(silence)" when it does not within the time.
  std::string answer(int timeoutMs = 10000) {
    std::string text;
    char block[4096];
    for (;;) {
      pollfd entry{fd_.get(), POLLIN, 0};
      if (::poll(&entry, 1, timeoutMs) <= 0) return text + "(silence)";
      const ssize_t count = ::recv(fd_.get(), block, sizeof block, 0);
      if (count <= 0) return text;
      text.append(block, static_cast<std::size_t>(count));
    }
  }

 private:
  UniqueFd fd_;
};

}  // namespace vigilo::test
