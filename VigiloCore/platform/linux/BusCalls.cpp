#include "platform/linux/BusCalls.h"

#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "support/UnixSocket.h"

namespace vigilo::bus {
namespace {

using namespace std::string_view_literals;

// The session bus's socket; empty where its address is of another kind.
std::string sessionBusPath() {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address == nullptr) {
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    return folder == nullptr ? "" : std::string(folder) + "/bus";
  }
  constexpr auto kind = "unix:path="sv;
  const std::string_view text = address;
  if (!text.starts_with(kind) || text.find('%') != text.npos) return "";
  return std::string(text.substr(kind.size(), text.find_first_of(",;") - kind.size()));
}

// The library waits 90 seconds for a bus that takes a connection and then says nothing. Such a one is found
// out before; what else may be wrong, the library tells.
void expectAnswerFrom(const std::string& path) {
  const auto address = unixSocketAddress(path);
  const UniqueFd fd = makeUnixSocket();
  if (!address || !fd) return;
  setSocketTimeouts(fd.get(), std::chrono::milliseconds(callLimit).count());
  if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) return;
  if (sendOnce(fd.get(), "\0AUTH\r\n"sv) < 0) return;
  char first = 0;
  if (::recv(fd.get(), &first, 1, 0) < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
    throw makeError("org.freedesktop.DBus.Error.Timeout", "the session bus does not answer");
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

std::unique_ptr<sdbus::IConnection> openSessionBus() {
  expectAnswerFrom(sessionBusPath());
  return sdbus::createSessionBusConnection();
}

}  // namespace vigilo::bus
