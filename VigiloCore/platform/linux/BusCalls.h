#pragma once

#include <chrono>
#include <memory>

#include "platform/linux/Bus.h"
#include "platform/linux/BusLibrary.h"

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

// Throws the library's error, like every use of the connection.
std::unique_ptr<sdbus::IConnection> openSessionBus();

}  // namespace vigilo::bus
