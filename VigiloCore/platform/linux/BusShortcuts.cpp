#include "platform/linux/BusShortcuts.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <utility>

#include "platform/linux/BusCalls.h"

namespace vigilo::bus {
namespace {

constexpr const char* portalName = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* shortcutsInterface = "org.freedesktop.portal.GlobalShortcuts";

using Event = ShortcutsConnection::Event;
using Dictionary = std::map<std::string, sdbus::Variant>;
using NamedDictionary = sdbus::Struct<std::string, Dictionary>;

// The text under the key, which may be an object's path as well; empty when there is none.
std::string textIn(const Dictionary& dictionary, const std::string& key) {
  const auto found = dictionary.find(key);
  if (found == dictionary.end()) return {};
  if (found->second.containsValueOfType<std::string>()) return found->second.get<std::string>();
  if (found->second.containsValueOfType<sdbus::ObjectPath>()) return found->second.get<sdbus::ObjectPath>();
  return {};
}

// How many shortcuts the portal's answer holds, and the keys of the first.
std::pair<std::size_t, std::string> boundTrigger(const Dictionary& results) {
  const auto found = results.find("shortcuts");
  if (found == results.end() || !found->second.containsValueOfType<std::vector<NamedDictionary>>())
    return {0, ""};
  const auto shortcuts = found->second.get<std::vector<NamedDictionary>>();
  if (shortcuts.empty()) return {0, ""};
  return {shortcuts.size(), textIn(shortcuts.front().get<1>(), "trigger_description")};
}

}  // namespace

// Signals are received in processPendingRequest only: the connection has no thread.
struct ShortcutsConnection::Bus {
  using Answered = std::function<void(std::uint32_t response, const Dictionary& results)>;

  std::unique_ptr<sdbus::IConnection> connection = openSessionBus();
  // The bus library closes its descriptor when the connection is lost; whoever watches has one to rely on.
  UniqueFd watched{::fcntl(connection->getEventLoopPollData().fd, F_DUPFD_CLOEXEC, 3)};
  std::vector<Event> events;
  std::string session;
  // In the connection's order: they end before it.
  std::unique_ptr<sdbus::IProxy> portal = makeProxy(*connection, portalName, portalPath);
  std::unique_ptr<sdbus::IProxy> createRequest, bindRequest, sessionProxy;

  Bus();
  void note(Event::Kind kind, std::uint32_t response, std::string text) {
    events.push_back({kind, response, std::move(text)});
  }
  // Begins to listen for the answer to a request that is going to have this token.
  std::unique_ptr<sdbus::IProxy> awaitAnswer(const std::string& token, Answered answered);
  void listenToSession();
};

// The library passes over a signal that does not hold what its handler takes.
ShortcutsConnection::Bus::Bus() {
  if (!watched) throw makeError("org.freedesktop.DBus.Error.LimitsExceeded", "no descriptor left");
  connection->setMethodCallTimeout(std::chrono::microseconds(callLimit).count());
  addMatch(*connection,
           "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
           "member='NameOwnerChanged',arg0='" +
               std::string(portalName) + "'",
           [this](sdbus::Message& message) {
             std::string name, before, now;
             message >> name >> before >> now;
             note(Event::Kind::serviceChanged, 0, now);
           });
  portal->uponSignal("Activated")
      .onInterface(shortcutsInterface)
      .call([this](const sdbus::ObjectPath& of, const std::string& id, std::uint64_t, const Dictionary&) {
        if (of == session) note(Event::Kind::activated, 0, id);
      });
  finishRegistration(*portal);
}

std::unique_ptr<sdbus::IProxy> ShortcutsConnection::Bus::awaitAnswer(const std::string& token,
                                                                     Answered answered) {
  // The path of a request follows from the caller's name on the bus and its token.
  std::string caller = connection->getUniqueName().substr(1);
  std::replace(caller.begin(), caller.end(), '.', '_');
  auto request =
      makeProxy(*connection, portalName, std::string(portalPath) + "/request/" + caller + "/" + token);
  request->uponSignal("Response").onInterface("org.freedesktop.portal.Request").call(std::move(answered));
  finishRegistration(*request);
  return request;
}

void ShortcutsConnection::Bus::listenToSession() {
  sessionProxy = makeProxy(*connection, portalName, session);
  sessionProxy->uponSignal("Closed").onInterface("org.freedesktop.portal.Session").call([this] {
    note(Event::Kind::sessionClosed, 0, "");
  });
  finishRegistration(*sessionProxy);
}

ShortcutsConnection::ShortcutsConnection(std::unique_ptr<Bus> bus) : bus_(std::move(bus)) {}
ShortcutsConnection::~ShortcutsConnection() = default;

Result<std::unique_ptr<ShortcutsConnection>, Error> ShortcutsConnection::open() {
  return attempt<std::unique_ptr<ShortcutsConnection>>(
      [] { return std::unique_ptr<ShortcutsConnection>(new ShortcutsConnection(std::make_unique<Bus>())); });
}

int ShortcutsConnection::descriptor() const {
  return bus_->watched.get();
}

std::optional<std::vector<Event>> ShortcutsConnection::process() {
  auto events = attempt<std::vector<Event>>([&] {
    processPending(*bus_->connection);
    return std::exchange(bus_->events, {});
  });
  return events ? std::optional(*std::move(events)) : std::nullopt;
}

std::optional<Error> ShortcutsConnection::registerApplication(const std::string& desktopEntry) {
  const auto done = attempt<bool>([&] {
    bus_->portal->callMethod("Register")
        .onInterface("org.freedesktop.host.portal.Registry")
        .withTimeout(callLimit)
        .withArguments(desktopEntry, Dictionary());
    return true;
  });
  return done ? std::nullopt : std::optional(done.error());
}

std::optional<Error> ShortcutsConnection::createSession() {
  const auto done = attempt<bool>([&] {
    bus_->createRequest =
        bus_->awaitAnswer("vigilo_create", [this](std::uint32_t response, const Dictionary& results) {
          bus_->session = textIn(results, "session_handle");
          // Not a path where the portal errs.
          const bool isSession = bus_->session.starts_with('/');
          bus_->note(Event::Kind::sessionCreated, isSession || response != 0 ? response : 2, bus_->session);
        });
    sdbus::ObjectPath request;
    bus_->portal->callMethod("CreateSession")
        .onInterface(shortcutsInterface)
        .withTimeout(callLimit)
        .withArguments(Dictionary{{"handle_token", sdbus::Variant(std::string("vigilo_create"))},
                                  {"session_handle_token", sdbus::Variant(std::string("vigilo"))}})
        .storeResultsTo(request);
    return true;
  });
  return done ? std::nullopt : std::optional(done.error());
}

std::optional<Error> ShortcutsConnection::bindShortcut(const Shortcut& shortcut) {
  const auto done = attempt<bool>([&] {
    bus_->listenToSession();
    bus_->bindRequest =
        bus_->awaitAnswer("vigilo_bind", [this](std::uint32_t response, const Dictionary& results) {
          const auto [count, trigger] = boundTrigger(results);
          bus_->note(Event::Kind::bound, response == 0 && count == 0 ? 1 : response, trigger);
        });
    const std::vector<NamedDictionary> shortcuts{NamedDictionary(
        shortcut.id, Dictionary{{"description", sdbus::Variant(shortcut.description)},
                                {"preferred_trigger", sdbus::Variant(shortcut.preferredTrigger)}})};
    sdbus::ObjectPath request;
    bus_->portal->callMethod("BindShortcuts")
        .onInterface(shortcutsInterface)
        .withTimeout(callLimit)
        .withArguments(sdbus::ObjectPath(bus_->session), shortcuts, std::string(),
                       Dictionary{{"handle_token", sdbus::Variant(std::string("vigilo_bind"))}})
        .storeResultsTo(request);
    return true;
  });
  return done ? std::nullopt : std::optional(done.error());
}

}  // namespace vigilo::bus
