#pragma once

#include <string>
#include <vector>

#include "VigiloApp/control/ControlProtocol.h"
#include "app/LaunchAtLoginController.h"
#include "platform/Directories.h"
#include "policy/SettingsStore.h"

namespace vigilo {

// Carries out a command on the settings: setSetting, resetSettings, listSettings, pause or resume. What was
// changed is on disk when this returns; where that cannot be, the response says why and carries the exit
// code. Setting launchAtLogin registers the host with the login items, or unregisters it: where that fails
// the setting stays. Blocks for the disk. The same code serves the running host and a command without one.
// `defaults` is what the store stands on.
ControlResponse carryOut(const ControlRequest& request, SettingsStore& settings, UserDefaults& defaults,
                         LaunchAtLoginController& login);

// Carries out the command in the running host, or, without one, on the settings file itself under the
// instance lock.
ControlResponse settingsCommand(const Directories& directories, const ControlRequest& request);

// The same for what steers the host (enable, disable, pause, resume, hold): without a host the settings are
// written all the same, but the response says that they take effect when a host runs, and carries exitNoHost.
// Whoever goes on only after a success does not go on unprotected.
ControlResponse steeringCommand(const Directories& directories, const ControlRequest& request);

// `vigilo pause` without a duration: whether protection is paused, and until when.
struct PauseReport {
  bool isPaused = false;
  std::optional<Date> pauseUntil;  // present while paused

  // `value` is the setting pauseUntil as text.
  static PauseReport of(const std::string& value, Date now);
  static constexpr auto fields() {
    return std::tuple{field("isPaused", &PauseReport::isPaused),
                      field("pauseUntil", &PauseReport::pauseUntil)};
  }
};
// For people; ends in a line feed.
std::string pauseText(const PauseReport& report, Date now);

// The table of `vigilo settings`: each setting, its value, its default where that differs, what is allowed,
// and what it does.
std::string settingsTable(const std::vector<SettingEntry>& entries);

}  // namespace vigilo
