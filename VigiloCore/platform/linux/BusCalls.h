#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "platform/linux/Bus.h"
#include "platform/linux/BusLibrary.h"
#include "support/Mutex.h"

// What the files that speak to a bus have in common. The bus library is seen here and in Bus*.cpp only.
// Thread-safe as far as the connection is.
namespace vigilo::bus {

inline constexpr std::chrono::seconds callLimit{2};

Error translate(const sdbus::Error& error);

// Runs one exchange; a bus error becomes a value here and nowhere else.
template <class T, class Exchange>
Result<T, Error> attempt(Exchange exchange) {
  try {
    return exchange();
  } catch (const sdbus::Error& error) {
    return translate(error);
  }
}

// Whether somebody has the name now; the question starts nothing.
bool hasOwner(sdbus::IConnection& connection, const char* name);

// Remembers for a few seconds that somebody let a caller wait in vain, so that the next ones need not wait as
// long for the same error. A failure that came at once is not remembered: to ask again costs nothing.
// Thread-safe.
class Silence {
 public:
  static constexpr std::chrono::seconds memory{3};

  // Runs the exchange with whoever is at the address, or throws what the last one there threw.
  template <class Exchange>
  auto during(const std::string& address, Exchange exchange) {
    throwIfRemembered(address);
    const auto began = std::chrono::steady_clock::now();
    try {
      return exchange();
    } catch (const sdbus::Error& error) {
      note(address, error, began);
      throw;
    }
  }

 private:
  using Time = std::chrono::steady_clock::time_point;
  void throwIfRemembered(const std::string& address);
  void note(const std::string& address, const sdbus::Error& error, Time began);

  Mutex mutex_;
  std::optional<sdbus::Error> error_ VIGILO_GUARDED_BY(mutex_);
  std::string address_ VIGILO_GUARDED_BY(mutex_);
  Time until_ VIGILO_GUARDED_BY(mutex_);
};

std::string systemBusAddress();

// The only way to a bus. A bus that does not answer costs two seconds, and nothing for some seconds after
// that. They throw the library's error, like every use of the connection.
std::unique_ptr<sdbus::IConnection> openSystemBus();
std::unique_ptr<sdbus::IConnection> openSessionBus();

}  // namespace vigilo::bus
