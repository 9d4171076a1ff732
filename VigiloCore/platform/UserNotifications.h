#pragma once

#include <memory>
#include <string>

#include "support/Result.h"

namespace vigilo {

struct UserNotification {
  // One that was posted before under the same identifier gives way to this one.
  std::string identifier;
  std::string title, body;
  bool urgent = false;  // something was cut off, rather than news
  bool silent = false;  // without the service's own sound, since the caller makes one
};

struct NotificationError {
  std::string description;
};

// Shows notices to the user through the session's service, which may be absent, go, and come back: nothing is
// lost by that but what was to be shown meanwhile. Calls wait for the service, each exchange with it at most
// two seconds; one thread at a time. What is shown may end with the object.
class UserNotifications {
 public:
  // Whether a service is there; an error when that cannot be told.
  using Outcome = Result<bool, NotificationError>;

  virtual ~UserNotifications() = default;
  virtual Outcome requestAuthorization() = 0;
  // Without a service nothing is attempted.
  virtual Outcome post(const UserNotification& notification) = 0;
  // For people, at start: who shows them, or what is missing. From any thread.
  virtual std::string description() const = 0;
};

std::unique_ptr<UserNotifications> makeUserNotifications();

}  // namespace vigilo
