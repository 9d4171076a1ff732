#pragma once

#include <string>
#include <vector>

#include "VigiloApp/ControlProtocol.h"
#include "platform/Directories.h"
#include "policy/SettingsStore.h"

namespace vigilo {

// Carries out a command on the settings: setSetting, resetSettings, listSettings, pause or resume. What was
// changed is on disk when this returns; where that cannot be, the response says why and carries the exit
// code. Blocks for the disk. The same code serves the running host and a command without one. `defaults` is
// what the store stands on.
ControlResponse carryOut(const ControlRequest& request, SettingsStore& settings, UserDefaults& defaults);

// Carries out the command in the running host, or, without one, on the settings file itself under the
// instance lock.
ControlResponse settingsCommand(const Directories& directories, const ControlRequest& request);

// The table of `vigilo settings`: each setting, its value, its default where that differs, and what is
// allowed.
std::string settingsTable(const std::vector<SettingEntry>& entries);

}  // namespace vigilo
