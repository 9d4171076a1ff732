#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Directories.h"

namespace vigilo {

// How the system's login items know this application.
enum class LoginItemStatus {
  notRegistered,
  enabled,
  requiresApproval,  // registered, and switched off by the user in the session's own settings
  notFound,          // registered, and what it starts is not there
};

// All there is to say about the registration.
struct LoginItemState {
  LoginItemStatus status = LoginItemStatus::notRegistered;
  std::vector<std::string> sources;    // the files that the status comes from
  std::optional<std::string> program;  // that is started at login, where a source names it
  bool isDoubled = false;              // enabled twice over, which `registerItem` puts right
  bool hasRemains = false;             // of an earlier registration, which may come to life again
  std::optional<std::string> remark;   // for people: what is odd about it, and what to do
};

struct LoginItemError {
  std::string description;  // for people: what is in the way, and what to do
};

// The registration that starts the host when its user logs in. What is registered is told by the system's own
// files each time: nothing is cached. Every member blocks for the disk, briefly. Thread-safe, but two changes
// at once may undo each other.
class LoginItem {
 public:
  virtual ~LoginItem() = default;
  virtual LoginItemState state() const = 0;
  // Absent on success: the item is then enabled, once. After an error nothing has changed.
  [[nodiscard]] virtual std::optional<LoginItemError> registerItem() = 0;
  // Absent on success: nothing is registered then, nor anything that is switched off or broken. After an
  // error what could be taken off is off.
  [[nodiscard]] virtual std::optional<LoginItemError> unregisterItem() = 0;
};

// Of this user, for the program that calls.
std::unique_ptr<LoginItem> makeLoginItem(const Directories& directories);

}  // namespace vigilo
