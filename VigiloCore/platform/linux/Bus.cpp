#include "platform/linux/Bus.h"

#include <fcntl.h>
#include <sdbus-c++/sdbus-c++.h>

#include <cerrno>
#include <chrono>

namespace vigilo::bus {
namespace {

using namespace std::chrono_literals;

constexpr auto callLimit = 2s;
constexpr const char* logindName = "org.freedesktop.login1";
constexpr const char* logindPath = "/org/freedesktop/login1";
constexpr const char* logindManager = "org.freedesktop.login1.Manager";

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
  else if (isOneOf({".FileNotFound", ".ServiceUnknown", ".NameHasNoOwner", ".NoServer"}))
    code = ENOENT;
  return {code, name + ": " + error.getMessage()};
}

// Runs one exchange; a bus error becomes a value here and nowhere else.
template <class T, class Exchange>
Result<T, Error> attempt(Exchange exchange) {
  try {
    return exchange();
  } catch (const sdbus::Error& error) {
    return translate(error);
  }
}

// A proxy on a connection of its own. Handing the connection over by reference keeps the library from
// starting a thread for it.
struct Logind {
  std::unique_ptr<sdbus::IConnection> connection = sdbus::createSystemBusConnection();
  std::unique_ptr<sdbus::IProxy> proxy = sdbus::createProxy(*connection, logindName, logindPath);

  template <class T>
  T property(const char* name) {
    sdbus::Variant value;
    proxy->callMethod("Get")
        .onInterface("org.freedesktop.DBus.Properties")
        .withTimeout(callLimit)
        .withArguments(std::string(logindManager), std::string(name))
        .storeResultsTo(value);
    return value.get<T>();
  }
};

}  // namespace

Result<UniqueFd, Error> inhibit(const std::string& what, const std::string& why) {
  return attempt<UniqueFd>([&]() -> UniqueFd {
    Logind logind;
    sdbus::UnixFd fd;
    logind.proxy->callMethod("Inhibit")
        .onInterface(logindManager)
        .withTimeout(callLimit)
        .withArguments(what, std::string("Vigilo"), why, std::string("block"))
        .storeResultsTo(fd);
    // The library's descriptor is inherited by children; ours must not be, or they would keep the hold.
    UniqueFd own(::fcntl(fd.get(), F_DUPFD_CLOEXEC, 3));
    if (!own) throw sdbus::Error("org.freedesktop.DBus.Error.LimitsExceeded", "no descriptor left");
    return own;
  });
}

Result<std::vector<Inhibitor>, Error> listInhibitors() {
  using Row = sdbus::Struct<std::string, std::string, std::string, std::string, std::uint32_t, std::uint32_t>;
  return attempt<std::vector<Inhibitor>>([] {
    Logind logind;
    std::vector<Row> rows;
    logind.proxy->callMethod("ListInhibitors")
        .onInterface(logindManager)
        .withTimeout(callLimit)
        .storeResultsTo(rows);
    std::vector<Inhibitor> inhibitors;
    for (const auto& row : rows) {
      inhibitors.push_back(
          {row.get<0>(), row.get<1>(), row.get<2>(), row.get<3>(), row.get<4>(), row.get<5>()});
    }
    return inhibitors;
  });
}

Result<bool, Error> isLidClosed() {
  return attempt<bool>([] { return Logind().property<bool>("LidClosed"); });
}

Result<std::string, Error> idleAction() {
  return attempt<std::string>([] { return Logind().property<std::string>("IdleAction"); });
}

}  // namespace vigilo::bus
