#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/UserDefaults.h"

namespace vigilo {

// What there is to set, in the order in which it is listed.
enum class SettingKey {
  masterEnabled,
  manualHoldEnabled,
  releaseDelaySeconds,
  batteryFloorPercent,
  onlyOnAC,
  deepLidProtectionEnabled,
  preventDisplaySleep,
  launchAtLogin,
  notificationsEnabled,
  soundEnabled,
  hasCompletedOnboarding,
  pauseUntil,
  claudeFolders,
  codexFolders,
  openCodeFolders,
};

enum class SettingType { boolean, integer, number, date, folders };

// One setting's name, type and default, what the user may give it, and what it does.
struct Setting {
  SettingKey key;
  const char* name;  // the stored key
  SettingType type;
  double fallback;      // the default: 0 or 1 for a boolean; the default of a date and of folders is absent
  double least, most;   // what a command may set a number to
  const char* allowed;  // the same in words: "5 to 50"
  const char* meaning;  // in a line, for people
};

// How values of settings are read and written. All are pure and thread-safe.

// The default as it is stored; absent for a date and for folders.
std::optional<DefaultsValue> fallbackValue(const Setting& setting);
// The value that the text gives the setting; absent where it is none.
std::optional<DefaultsValue> parse(const Setting& setting, std::string_view text);
// Folders with colons between; absent where one of them is neither absolute nor below the home folder ("~/").
std::optional<std::vector<std::string>> parseFolders(std::string_view text);
// With a point whatever the program's locale.
std::string printNumber(double value);
// A stored value as a person would write it; strings in quotes.
std::string shown(const DefaultsValue& value);
bool isOfItsType(const Setting& setting, const DefaultsValue& value);
// Whether it lies in the range that a command may set; true of what is no number.
bool isInRange(const Setting& setting, const DefaultsValue& value);

}  // namespace vigilo
