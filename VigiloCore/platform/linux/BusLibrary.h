#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

// What the two releases of the bus library call by different names, in one form. Thread-safe as the library
// is.
namespace vigilo::bus {

#if VIGILO_SDBUS_MAJOR >= 2

inline sdbus::Error makeError(const std::string& name, const std::string& message) {
  return sdbus::Error(sdbus::Error::Name(name), message);
}

inline std::unique_ptr<sdbus::IProxy> makeProxy(sdbus::IConnection& connection, const std::string& service,
                                                const std::string& path) {
  return sdbus::createProxy(connection, sdbus::ServiceName(service), sdbus::ObjectPath(path));
}

inline void addMatch(sdbus::IConnection& connection, const std::string& rule,
                     std::function<void(sdbus::Message&)> handler) {
  connection.addMatch(rule, [handler = std::move(handler)](sdbus::Message message) { handler(message); });
}

inline void processPending(sdbus::IConnection& connection) {
  while (connection.processPendingEvent()) {
  }
}

inline void finishRegistration(sdbus::IProxy&) {}  // each signal is registered at once

#else

inline sdbus::Error makeError(const std::string& name, const std::string& message) {
  return sdbus::Error(name, message);
}

inline std::unique_ptr<sdbus::IProxy> makeProxy(sdbus::IConnection& connection, const std::string& service,
                                                const std::string& path) {
  return sdbus::createProxy(connection, service, path);
}

inline void addMatch(sdbus::IConnection& connection, const std::string& rule,
                     std::function<void(sdbus::Message&)> handler) {
  connection.addMatch(rule, std::move(handler), sdbus::floating_slot);
}

inline void processPending(sdbus::IConnection& connection) {
  while (connection.processPendingRequest()) {
  }
}

inline void finishRegistration(sdbus::IProxy& proxy) {
  proxy.finishRegistration();
}

#endif

}  // namespace vigilo::bus
