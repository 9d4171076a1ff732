#pragma once

#include <string>

#include "VigiloApp/control/ControlProtocol.h"
#include "app/LaunchAtLoginController.h"
#include "platform/Directories.h"
#include "policy/SettingsStore.h"

namespace vigilo {

// `vigilo login on` and `off`: the same as setting launchAtLogin, and then tells what is. Returns the exit
// code: 1 when the registration could not be changed.
int loginSwitchCommand(const Directories& directories, bool on);
// `vigilo login status`: asks the running host, or looks for itself.
int loginStatusCommand(const Directories& directories, bool json);

// What is registered, beside what the setting says. The same for the host and a command without one.
LoginItemReport loginItemReport(const SettingsStore& settings, const LaunchAtLoginController& login);
// For people; ends in a line feed.
std::string loginItemText(const LoginItemReport& report);

}  // namespace vigilo
