#include "helper/HelperTransport.h"

#include <cerrno>

#include "helper/HelperProtocol.h"
#include "support/UnixSocket.h"

namespace vigilo {
namespace {

constexpr int timeoutMs = 1000;

}  // namespace

bool SocketHelperTransport::exists(const std::string& path) {
  return ::access(path.c_str(), F_OK) == 0;
}

void SocketHelperTransport::exchange(const std::string& path, const std::string& request, Completion done) {
  const UniqueFd fd = makeUnixSocket();
  if (!fd) return done(Outcome::failed, {});
  setSocketTimeouts(fd.get(), timeoutMs);
  // The address counts the terminating zero as well: a path of 103 bytes is refused before any connection.
  const auto address = path.size() + 1 > longestSocketPath ? std::nullopt : unixSocketAddress(path);
  if (!address) return done(Outcome::failed, {});
  if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
    const bool nobody = errno == ECONNREFUSED || errno == ENOENT;
    return done(nobody ? Outcome::refused : Outcome::failed, {});
  }
  sendOnce(fd.get(), request);
  std::string reply(helperMessageLimit, '\0');
  ssize_t count;
  do {
    count = ::recv(fd.get(), reply.data(), reply.size(), 0);
  } while (count < 0 && errno == EINTR);
  if (count < 1) return done(Outcome::failed, {});
  reply.resize(static_cast<std::size_t>(count));
  done(Outcome::answered, std::move(reply));
}

}  // namespace vigilo
