#include "platform/linux/Bus.h"

#include <fcntl.h>

#include <map>

#include "platform/linux/BusCalls.h"
#include "support/Mutex.h"

namespace vigilo::bus {

namespace {

constexpr const char* logindName = "org.freedesktop.login1";
constexpr const char* logindPath = "/org/freedesktop/login1";
constexpr const char* logindManager = "org.freedesktop.login1.Manager";

template <class T>
T property(sdbus::IProxy& proxy, const char* interface, const char* name) {
  sdbus::Variant value;
  proxy.callMethod("Get")
      .onInterface("org.freedesktop.DBus.Properties")
      .withTimeout(callLimit)
      .withArguments(std::string(interface), std::string(name))
      .storeResultsTo(value);
  return value.get<T>();
}

// A proxy on a connection of its own. Handing the connection over by reference keeps the library from
// starting a thread for it.
struct Logind {
  std::unique_ptr<sdbus::IConnection> connection = openSystemBus();
  std::unique_ptr<sdbus::IProxy> proxy = makeProxy(*connection, logindName, logindPath);

  template <class T>
  T property(const char* name) {
    return bus::property<T>(*proxy, logindManager, name);
  }
};

Silence logindSilence;

template <class T, class Exchange>
Result<T, Error> askLogind(Exchange exchange) {
  return attempt<T>([&] {
    return logindSilence.during(systemBusAddress(), [&] {
      Logind logind;
      return exchange(logind);
    });
  });
}

struct SessionServiceNames {
  const char *name, *path, *interface, *inhibit, *uninhibit;
};

// In the order of the enumeration.
constexpr SessionServiceNames sessionServices[sessionServiceCount] = {
    {"org.gnome.SessionManager", "/org/gnome/SessionManager", "org.gnome.SessionManager", "Inhibit",
     "Uninhibit"},
    {"org.freedesktop.PowerManagement", "/org/freedesktop/PowerManagement/Inhibit",
     "org.freedesktop.PowerManagement.Inhibit", "Inhibit", "UnInhibit"},
    {"org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver", "org.freedesktop.ScreenSaver", "Inhibit",
     "UnInhibit"},
    {"org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Inhibit",
     "Inhibit", "Close"},
};

const SessionServiceNames& namesOf(SessionService service) {
  return sessionServices[static_cast<std::size_t>(service)];
}

// The session manager and the portal use the same two bits.
std::uint32_t inhibitFlags(SessionConnection::Scope scope) {
  constexpr std::uint32_t suspend = 4, idle = 8;
  return scope == SessionConnection::Scope::systemSleep ? suspend : suspend | idle;
}

}  // namespace

Result<UniqueFd, Error> inhibit(const std::string& what, const std::string& why) {
  return askLogind<UniqueFd>([&](Logind& logind) -> UniqueFd {
    sdbus::UnixFd fd;
    logind.proxy->callMethod("Inhibit")
        .onInterface(logindManager)
        .withTimeout(callLimit)
        .withArguments(what, std::string("Vigilo"), why, std::string("block"))
        .storeResultsTo(fd);
    // The library's descriptor is inherited by children; ours must not be, or they would keep the hold.
    UniqueFd own(::fcntl(fd.get(), F_DUPFD_CLOEXEC, 3));
    if (!own) throw makeError("org.freedesktop.DBus.Error.LimitsExceeded", "no descriptor left");
    return own;
  });
}

Result<std::vector<Inhibitor>, Error> listInhibitors() {
  using Row = sdbus::Struct<std::string, std::string, std::string, std::string, std::uint32_t, std::uint32_t>;
  return askLogind<std::vector<Inhibitor>>([](Logind& logind) {
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
  return askLogind<bool>([](Logind& logind) { return logind.property<bool>("LidClosed"); });
}

Result<std::string, Error> idleAction() {
  return askLogind<std::string>([](Logind& logind) { return logind.property<std::string>("IdleAction"); });
}

Result<std::string, Error> powerProfile() {
  struct Place {
    const char *name, *path;
  };
  return attempt<std::string>([]() -> std::string {
    const auto connection = openSystemBus();
    for (const Place& place :
         {Place{"org.freedesktop.UPower.PowerProfiles", "/org/freedesktop/UPower/PowerProfiles"},
          Place{"net.hadess.PowerProfiles", "/net/hadess/PowerProfiles"}}) {
      if (!hasOwner(*connection, place.name)) continue;
      const auto proxy = makeProxy(*connection, place.name, place.path);
      return property<std::string>(*proxy, place.name, "ActiveProfile");
    }
    throw makeError("org.freedesktop.DBus.Error.ServiceUnknown", "no power profiles service runs");
  });
}

const char* displayName(SessionService service) {
  switch (service) {
    case SessionService::sessionManager:
      return "the desktop's session manager";
    case SessionService::powerManagement:
      return "the desktop's power management";
    case SessionService::screenSaver:
      return "the desktop's screen saver";
    case SessionService::portal:
      break;
  }
  return "the desktop portal";
}

struct SessionConnection::Bus {
  Mutex mutex;
  std::unique_ptr<sdbus::IConnection> connection VIGILO_GUARDED_BY(mutex) = openSessionBus();
  // Written by the matches, which run in processPendingRequest only: the connection has no thread.
  std::uint64_t ownerChanges VIGILO_GUARDED_BY(mutex) = 0;

  std::unique_ptr<sdbus::IProxy> proxyOf(SessionService service) VIGILO_REQUIRES(mutex) {
    return makeProxy(*connection, namesOf(service).name, namesOf(service).path);
  }
};

SessionConnection::SessionConnection(std::unique_ptr<Bus> bus) : bus_(std::move(bus)) {}
SessionConnection::~SessionConnection() = default;

Result<std::shared_ptr<SessionConnection>, Error> SessionConnection::open() {
  return attempt<std::shared_ptr<SessionConnection>>([] {
    auto bus = std::make_unique<Bus>();
    const LockGuard guard(bus->mutex);
    bus->connection->setMethodCallTimeout(std::chrono::microseconds(callLimit).count());
    for (const auto& service : sessionServices) {
      const std::string rule =
          "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
          "member='NameOwnerChanged',arg0='" +
          std::string(service.name) + "'";
      addMatch(*bus->connection, rule, [changes = &bus->ownerChanges](sdbus::Message&) { ++*changes; });
    }
    return std::shared_ptr<SessionConnection>(new SessionConnection(std::move(bus)));
  });
}

Result<bool, Error> SessionConnection::hasOwner(SessionService service) {
  return attempt<bool>([&] {
    const LockGuard guard(bus_->mutex);
    return bus::hasOwner(*bus_->connection, namesOf(service).name);
  });
}

Result<SessionConnection::Inhibition, Error> SessionConnection::inhibit(SessionService service, Scope scope,
                                                                        const std::string& why) {
  return attempt<Inhibition>([&] {
    const LockGuard guard(bus_->mutex);
    const auto proxy = bus_->proxyOf(service);
    const std::string application = "Vigilo";
    const std::string method = namesOf(service).inhibit;  // the call refers to it
    auto call = proxy->callMethod(method);
    call.onInterface(namesOf(service).interface).withTimeout(callLimit);
    Inhibition inhibition{service, 0, {}};
    if (service == SessionService::portal) {
      const std::map<std::string, sdbus::Variant> options{{"reason", sdbus::Variant(why)}};
      sdbus::ObjectPath request;
      call.withArguments(std::string(), inhibitFlags(scope), options).storeResultsTo(request);
      inhibition.request = request;
    } else if (service == SessionService::sessionManager) {
      call.withArguments(application, std::uint32_t{0}, why, inhibitFlags(scope))
          .storeResultsTo(inhibition.cookie);
    } else {
      call.withArguments(application, why).storeResultsTo(inhibition.cookie);
    }
    return inhibition;
  });
}

void SessionConnection::uninhibit(const Inhibition& inhibition) {
  // A service that does not answer here has lost the inhibition anyway, or loses it with the connection.
  (void)attempt<bool>([&] {
    const LockGuard guard(bus_->mutex);
    const SessionServiceNames& names = namesOf(inhibition.service);
    if (inhibition.service == SessionService::portal) {
      makeProxy(*bus_->connection, names.name, inhibition.request)
          ->callMethod(names.uninhibit)
          .onInterface("org.freedesktop.portal.Request")
          .withTimeout(callLimit);
    } else {
      bus_->proxyOf(inhibition.service)
          ->callMethod(names.uninhibit)
          .onInterface(names.interface)
          .withTimeout(callLimit)
          .withArguments(inhibition.cookie);
    }
    return true;
  });
}

std::optional<std::uint64_t> SessionConnection::generation() {
  const auto changes = attempt<std::uint64_t>([&] {
    const LockGuard guard(bus_->mutex);
    processPending(*bus_->connection);
    return bus_->ownerChanges;
  });
  return changes ? std::optional(*changes) : std::nullopt;
}

}  // namespace vigilo::bus
