#include "platform/linux/BusNotifications.h"

#include <algorithm>
#include <cerrno>
#include <map>

#include "platform/linux/BusCalls.h"

namespace vigilo::bus {
namespace {

constexpr const char* serviceName = "org.freedesktop.Notifications";
constexpr const char* servicePath = "/org/freedesktop/Notifications";
constexpr const char* busInterface = "org.freedesktop.DBus";
constexpr std::int32_t serviceDecides = -1;  // for how long it shows

std::map<std::string, sdbus::Variant> hintsOf(const NotificationsConnection::Message& message) {
  constexpr std::uint8_t normal = 1, critical = 2;
  std::map<std::string, sdbus::Variant> hints{
      {"desktop-entry", sdbus::Variant(std::string("vigilo"))},
      {"urgency", sdbus::Variant(message.critical ? critical : normal)}};
  if (message.suppressSound)
    hints.emplace("suppress-sound", sdbus::Variant(true));
  else
    hints.emplace("sound-name", sdbus::Variant(std::string("dialog-information")));
  return hints;
}

}  // namespace

struct NotificationsConnection::Bus {
  std::unique_ptr<sdbus::IConnection> connection = openSessionBus();
  std::unique_ptr<sdbus::IProxy> daemon = makeProxy(*connection, busInterface, "/org/freedesktop/DBus");

  // What the bus itself answers to a question about the service's name.
  template <class T>
  T ask(const char* method) {
    T answer{};
    daemon->callMethod(method)
        .onInterface(busInterface)
        .withTimeout(callLimit)
        .withArguments(std::string(serviceName))
        .storeResultsTo(answer);
    return answer;
  }
  bool isActivatable() {
    std::vector<std::string> names;
    daemon->callMethod("ListActivatableNames")
        .onInterface(busInterface)
        .withTimeout(callLimit)
        .storeResultsTo(names);
    return std::find(names.begin(), names.end(), serviceName) != names.end();
  }
  void startService() {
    std::uint32_t outcome = 0;
    daemon->callMethod("StartServiceByName")
        .onInterface(busInterface)
        .withTimeout(callLimit)
        .withArguments(std::string(serviceName), std::uint32_t{0})
        .storeResultsTo(outcome);
  }
};

NotificationsConnection::NotificationsConnection(std::unique_ptr<Bus> bus) : bus_(std::move(bus)) {}
NotificationsConnection::~NotificationsConnection() = default;

Result<std::unique_ptr<NotificationsConnection>, Error> NotificationsConnection::open() {
  return attempt<std::unique_ptr<NotificationsConnection>>([] {
    return std::unique_ptr<NotificationsConnection>(new NotificationsConnection(std::make_unique<Bus>()));
  });
}

Result<bool, Error> NotificationsConnection::isOffered() {
  return attempt<bool>([&] { return bus_->ask<bool>("NameHasOwner") || bus_->isActivatable(); });
}

Result<std::string, Error> NotificationsConnection::provider() {
  return attempt<std::string>([&]() -> std::string {
    if (!bus_->ask<bool>("NameHasOwner")) {
      if (!bus_->isActivatable()) return {};
      bus_->startService();
    }
    return bus_->ask<std::string>("GetNameOwner");
  });
}

Result<std::vector<std::string>, Error> NotificationsConnection::capabilities(const std::string& provider) {
  return attempt<std::vector<std::string>>([&] {
    std::vector<std::string> capabilities;
    makeProxy(*bus_->connection, provider, servicePath)
        ->callMethod("GetCapabilities")
        .onInterface(serviceName)
        .withTimeout(callLimit)
        .storeResultsTo(capabilities);
    return capabilities;
  });
}

Result<std::uint32_t, Error> NotificationsConnection::notify(const std::string& provider,
                                                             const Message& message) {
  return attempt<std::uint32_t>([&] {
    std::uint32_t id = 0;
    const std::vector<std::string> actions;
    makeProxy(*bus_->connection, provider, servicePath)
        ->callMethod("Notify")
        .onInterface(serviceName)
        .withTimeout(callLimit)
        .withArguments(std::string("Vigilo"), message.replaces, std::string(), message.title, message.body,
                       actions, hintsOf(message), serviceDecides)
        .storeResultsTo(id);
    return id;
  });
}

}  // namespace vigilo::bus
