#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/Bus.h"

namespace vigilo::bus {

// A connection to the session bus, and the service of org.freedesktop.Notifications there. The service goes
// by the bus name of the process that provides it, so that what was learnt from one process is never told to
// another. Each call is synchronous and ends within two seconds; one thread at a time.
class NotificationsConnection {
 public:
  struct Message {
    std::uint32_t replaces = 0;  // the id of one that was shown, or 0
    std::string title, body;
    bool critical = false;
    bool suppressSound = false;
  };

  static Result<std::unique_ptr<NotificationsConnection>, Error> open();
  ~NotificationsConnection();

  // Whether the service runs or could be started; the question starts nothing.
  Result<bool, Error> isOffered();
  // Who provides the service, which is started if need be; empty when nobody does.
  Result<std::string, Error> provider();
  Result<std::vector<std::string>, Error> capabilities(const std::string& provider);
  // The id of what is shown.
  Result<std::uint32_t, Error> notify(const std::string& provider, const Message& message);

 private:
  struct Bus;
  explicit NotificationsConnection(std::unique_ptr<Bus> bus);
  const std::unique_ptr<Bus> bus_;
};

}  // namespace vigilo::bus
