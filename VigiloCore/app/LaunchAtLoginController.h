#pragma once

#include <optional>
#include <string>

#include "platform/LoginItem.h"
#include "support/Log.h"

namespace vigilo {

// Registers and unregisters the host with the system's login items, and describes the registration for
// people. No state of its own, so any thread may call; each call blocks for the disk, briefly. `item` must
// outlive it.
class LaunchAtLoginController {
 public:
  explicit LaunchAtLoginController(LoginItem& item) : item_(item) {}

  // The instance that `main` installed, or null; asking makes nothing.
  static LaunchAtLoginController* shared();
  static void installShared(LaunchAtLoginController* controller);

  bool isEnabled() const { return item_.state().status == LoginItemStatus::enabled; }
  std::string statusDescription() const { return description(item_.state().status); }
  // All there is to say, for those who show more than the status.
  LoginItemState state() const { return item_.state(); }

  // True on success, or when nothing needed doing; a failure is logged.
  bool setEnabled(bool enabled) { return !update(enabled); }
  // The same, with the failure's reason in place of false.
  [[nodiscard]] std::optional<LoginItemError> update(bool enabled);

  static std::string description(LoginItemStatus status);

 private:
  LoginItem& item_;
  const Log logger_{"com.vigilo.app", "launchAtLogin"};
};

}  // namespace vigilo
