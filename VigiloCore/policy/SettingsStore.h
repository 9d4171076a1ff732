#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/UserDefaults.h"
#include "policy/PolicyConfiguration.h"
#include "policy/Setting.h"
#include "support/Date.h"
#include "support/Observable.h"
#include "support/Result.h"

namespace vigilo {

struct SettingError {
  std::string description;  // for people: what is wrong and what is possible
};

// The user's preferences, and the policy's configuration as it follows from them.
//
// Nothing is cached: each property is read from the user defaults and written to them at every access. What
// is absent or has the wrong type reads as the default; a whole number counts where a number with a fraction
// is expected. Each write is announced once, after it was made, on the thread that wrote; a change from
// outside is announced on the queue given to `observeOutsideChanges`.
//
// Any thread may call. `defaults` must outlive it.
class SettingsStore {
 public:
  explicit SettingsStore(UserDefaults& defaults, Clock clock = Date::now);

  // The instance that `main` installed, or null; asking makes nothing.
  static SettingsStore* shared();
  static void installShared(SettingsStore* store);

  bool masterEnabled() const { return boolean(SettingKey::masterEnabled); }
  void masterEnabled(bool value) { write(SettingKey::masterEnabled, value); }
  bool manualHoldEnabled() const { return boolean(SettingKey::manualHoldEnabled); }
  void manualHoldEnabled(bool value) { write(SettingKey::manualHoldEnabled, value); }
  // A stored value that is not finite reads as the default.
  double releaseDelaySeconds() const;
  void releaseDelaySeconds(double value) { write(SettingKey::releaseDelaySeconds, value); }
  int batteryFloorPercent() const;
  // Stores the nearest value of 5 to 50.
  void batteryFloorPercent(int value);
  bool onlyOnAC() const { return boolean(SettingKey::onlyOnAC); }
  void onlyOnAC(bool value) { write(SettingKey::onlyOnAC, value); }
  bool deepLidProtectionEnabled() const { return boolean(SettingKey::deepLidProtectionEnabled); }
  void deepLidProtectionEnabled(bool value) { write(SettingKey::deepLidProtectionEnabled, value); }
  bool preventDisplaySleep() const { return boolean(SettingKey::preventDisplaySleep); }
  void preventDisplaySleep(bool value) { write(SettingKey::preventDisplaySleep, value); }
  bool launchAtLogin() const { return boolean(SettingKey::launchAtLogin); }
  void launchAtLogin(bool value) { write(SettingKey::launchAtLogin, value); }
  bool notificationsEnabled() const { return boolean(SettingKey::notificationsEnabled); }
  void notificationsEnabled(bool value) { write(SettingKey::notificationsEnabled, value); }
  bool soundEnabled() const { return boolean(SettingKey::soundEnabled); }
  void soundEnabled(bool value) { write(SettingKey::soundEnabled, value); }
  bool hasCompletedOnboarding() const { return boolean(SettingKey::hasCompletedOnboarding); }
  void hasCompletedOnboarding(bool value) { write(SettingKey::hasCompletedOnboarding, value); }
  std::optional<Date> pauseUntil() const;
  void pauseUntil(std::optional<Date> value);
  // Where agents of the user keep their files beside the usual places, "~/" for the home folder.
  std::vector<std::string> claudeFolders() const { return folders(SettingKey::claudeFolders); }
  std::vector<std::string> codexFolders() const { return folders(SettingKey::codexFolders); }
  std::vector<std::string> openCodeFolders() const { return folders(SettingKey::openCodeFolders); }

  PolicyConfiguration policyConfig() const;
  void pause(double seconds) { pauseUntil(clock_() + seconds); }
  void resume() { pauseUntil(std::nullopt); }
  // Writes every default but that of `launchAtLogin`, which mirrors a registration with the system.
  void resetToDefaults();
  // What somebody else has written that is not as this class would: a line for each key that is no setting,
  // and for each value of a wrong type or out of range, with what is in force instead. For people; of one key
  // only where one is given.
  std::vector<std::string> problems(const std::optional<std::string>& key = std::nullopt) const;

  // Keep the token for as long as the observer is to be called.
  [[nodiscard]] std::shared_ptr<void> onChange(Announcer::Observer observer) {
    return changes_.subscribe(std::move(observer));
  }
  // Keep the token; it ends before this store does.
  [[nodiscard]] CancelToken observeOutsideChanges(Queue& queue) {
    return defaults_.observe(queue, [this] { changes_.announce(); });
  }

  // --- The settings as text, for commands ---

  static std::span<const Setting> table();
  // The property's value, by the setting's name: "true", "30", "2026-11-21T08:00:00Z", "none".
  Result<std::string, SettingError> text(std::string_view name) const;
  // Refuses, other than the properties, what is out of range. The value as it stands now.
  Result<std::string, SettingError> setText(std::string_view name, std::string_view text);
  // A default as such a text.
  static std::string defaultText(const Setting& setting);

 private:
  std::optional<DefaultsValue> stored(SettingKey key) const;
  std::optional<double> number(SettingKey key) const;
  bool boolean(SettingKey key) const;
  std::vector<std::string> folders(SettingKey key) const;
  std::string print(const Setting& setting) const;
  std::string inForce(const Setting& setting) const;
  std::optional<std::string> problemWith(const std::string& name) const;
  void write(SettingKey key, std::optional<DefaultsValue> value);

  UserDefaults& defaults_;
  const Clock clock_;
  Announcer changes_;
};

}  // namespace vigilo
