#include "platform/linux/BusCalls.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "platform/linux/BusAddress.h"
#include "support/UnixSocket.h"

namespace vigilo::bus {
namespace {

using namespace std::string_view_literals;

using Connection = std::unique_ptr<sdbus::IConnection>;

// As the library finds it.
std::string sessionBusAddress() {
  if (const char* address = ::secure_getenv("DBUS_SESSION_BUS_ADDRESS")) return address;
  const char* folder = ::secure_getenv("XDG_RUNTIME_DIR");
  return folder == nullptr ? "" : "unix:path=" + std::string(folder) + "/bus";
}

enum class Look { answers, isNotThere };

// Throws when somebody takes the connection, or lets it wait, and then says nothing.
Look lookAt(const SocketAddress& socket) {
  const auto limit = std::chrono::steady_clock::now() + callLimit;
  const auto silent = [] {
    return makeError("org.freedesktop.DBus.Error.Timeout", "the bus does not answer");
  };
  const UniqueFd fd = makeUnixSocket();
  if (!fd) return Look::isNotThere;
  setSocketTimeouts(fd.get(), std::chrono::milliseconds(callLimit).count());
  if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&socket.address), socket.length) != 0) {
    if (errno == EAGAIN || errno == EWOULDBLOCK) throw silent();
    return Look::isNotThere;
  }
  if (sendOnce(fd.get(), "\0AUTH\r\n"sv) < 0) return Look::isNotThere;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - std::chrono::steady_clock::now());
  pollfd readable{fd.get(), POLLIN, 0};
  if (::poll(&readable, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0))) == 0) throw silent();
  return Look::answers;
}

// The library waits 90 seconds for a bus that takes a connection and then says nothing. Such a one is found
// out before; what else may be wrong, the library tells.
void expectAnswerFrom(const std::string& address) {
  for (const SocketAddress& socket : unixSocketsOf(address)) {
    if (lookAt(socket) == Look::answers) return;
  }
}

Connection open(Silence& silence, const std::string& address, Connection (*connect)()) {
  return silence.during(address, [&] {
    expectAnswerFrom(address);
    return connect();
  });
}

}  // namespace

Error translate(const sdbus::Error& error) {
  const std::string& name = error.getName();
  const auto isOneOf = [&](std::initializer_list<const char*> endings) {
    for (const char* ending : endings) {
      if (name.ends_with(ending)) return true;
    }
    return false;
  };
  int code = EIO;
  if (isOneOf({".AccessDenied", ".InteractiveAuthorizationRequired", ".AuthFailed"}))
    code = EACCES;
  else if (isOneOf({".Timeout", ".NoReply", ".TimedOut"}))
    code = ETIMEDOUT;
  else if (isOneOf({".FileNotFound", ".ServiceUnknown", ".NameHasNoOwner", ".NoServer", ".ENOMEDIUM",
                    ".ECONNREFUSED"}))
    code = ENOENT;
  return {code, name + ": " + error.getMessage()};
}

bool hasOwner(sdbus::IConnection& connection, const char* name) {
  auto daemon = makeProxy(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus");
  bool owned = false;
  daemon->callMethod("NameHasOwner")
      .onInterface("org.freedesktop.DBus")
      .withTimeout(callLimit)
      .withArguments(std::string(name))
      .storeResultsTo(owned);
  return owned;
}

void Silence::throwIfRemembered(const std::string& address) {
  const LockGuard guard(mutex_);
  if (error_ && address == address_ && std::chrono::steady_clock::now() < until_) throw sdbus::Error(*error_);
}

void Silence::note(const std::string& address, const sdbus::Error& error, Time began) {
  const Time now = std::chrono::steady_clock::now();
  if (now - began < callLimit / 2) return;
  const LockGuard guard(mutex_);
  error_ = error;
  address_ = address;
  until_ = now + memory;
}

std::string systemBusAddress() {
  const char* address = ::secure_getenv("DBUS_SYSTEM_BUS_ADDRESS");
  return address != nullptr ? address : "unix:path=/run/dbus/system_bus_socket";
}

std::unique_ptr<sdbus::IConnection> openSystemBus() {
  static Silence silence;
  return open(silence, systemBusAddress(), sdbus::createSystemBusConnection);
}

std::unique_ptr<sdbus::IConnection> openSessionBus() {
  static Silence silence;
  return open(silence, sessionBusAddress(), sdbus::createSessionBusConnection);
}

}  // namespace vigilo::bus
