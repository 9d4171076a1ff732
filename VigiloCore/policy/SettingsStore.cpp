#include "policy/SettingsStore.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <limits>

#include "support/NearestWord.h"

namespace vigilo {
namespace {

using enum SettingKey;

constexpr const char* trueOrFalse = "true or false";
constexpr std::size_t mostProblems = 20;  // a file of something else altogether need not be told in full

constexpr Setting flag(SettingKey key, const char* name, bool fallback, const char* meaning) {
  return {key, name, SettingType::boolean, fallback ? 1.0 : 0.0, 0, 1, trueOrFalse, meaning};
}

constexpr Setting folderList(SettingKey key, const char* name, const char* meaning) {
  return {key, name, SettingType::folders, 0, 0, 0, "absolute folders with colons between, or none", meaning};
}

constexpr std::array settings{
    flag(masterEnabled, "masterEnabled", true, "protection as a whole; `vigilo enable` and `disable`"),
    flag(manualHoldEnabled, "manualHoldEnabled", false,
         "hold with or without agents; `vigilo hold on` and `off`"),
    Setting{releaseDelaySeconds, "releaseDelaySeconds", SettingType::number, 30, 0, 86400, "0 to 86400",
            "for how many seconds to hold on after the last agent has stopped"},
    Setting{batteryFloorPercent, "batteryFloorPercent", SettingType::integer, 15, 5, 50, "5 to 50",
            "on battery, at or below this percentage, nothing is held"},
    flag(onlyOnAC, "onlyOnAC", false, "hold only while the charger is connected"),
    flag(deepLidProtectionEnabled, "deepLidProtectionEnabled", true,
         "hold with a closed lid too, through the helper"),
    flag(preventDisplaySleep, "preventDisplaySleep", false, "while holding, keep the screen on as well"),
    flag(launchAtLogin, "launchAtLogin", false, "start the host at login; `vigilo login on` and `off`"),
    flag(notificationsEnabled, "notificationsEnabled", true, "banners and chimes when a hold begins or ends"),
    flag(soundEnabled, "soundEnabled", true, "the chime of a notice"),
    flag(hasCompletedOnboarding, "hasCompletedOnboarding", false,
         "the introduction of a graphical front end was seen"),
    Setting{pauseUntil, "pauseUntil", SettingType::date, 0, 0, 0,
            "an ISO 8601 date such as 2026-11-21T08:00:00Z, or none",
            "until when sleep is allowed whatever agents do; `vigilo pause`"},
    folderList(claudeFolders, "claudeFolders", "where Claude Code keeps its files, besides its own folder"),
    folderList(codexFolders, "codexFolders", "where Codex CLI keeps its files, besides its own folder"),
    folderList(openCodeFolders, "openCodeFolders", "where OpenCode keeps its files, besides its own folder"),
};

constexpr bool isInOrder() {
  for (std::size_t i = 0; i < settings.size(); ++i) {
    if (static_cast<std::size_t>(settings[i].key) != i) return false;
  }
  return true;
}
static_assert(isInOrder(), "the table follows the enumeration");

constexpr const Setting& settingOf(SettingKey key) {
  return settings[static_cast<std::size_t>(key)];
}

int clampedFloor(std::int64_t percent) {
  constexpr const Setting& setting = settingOf(batteryFloorPercent);
  return static_cast<int>(
      std::clamp(percent, static_cast<std::int64_t>(setting.least), static_cast<std::int64_t>(setting.most)));
}

const Setting* settingNamed(std::string_view name) {
  const auto found = std::ranges::find(settings, name, &Setting::name);
  return found == settings.end() ? nullptr : &*found;
}

std::string nearestName(std::string_view name) {
  std::array<std::string_view, settings.size()> names;
  std::ranges::transform(settings, names.begin(), &Setting::name);
  return didYouMean(name, names);
}

Result<const Setting*, SettingError> find(std::string_view name) {
  if (const Setting* setting = settingNamed(name)) return setting;
  std::string names;
  for (const Setting& setting : settings) names.append(names.empty() ? "" : ", ").append(setting.name);
  return SettingError{"There is no setting \"" + std::string(name) + "\"." + nearestName(name) +
                      " There are: " + names + "."};
}

std::atomic<SettingsStore*> sharedStore{nullptr};

}  // namespace

SettingsStore::SettingsStore(UserDefaults& defaults, Clock clock)
    : defaults_(defaults), clock_(std::move(clock)) {}

SettingsStore* SettingsStore::shared() {
  return sharedStore;
}

void SettingsStore::installShared(SettingsStore* store) {
  sharedStore = store;
}

std::span<const Setting> SettingsStore::table() {
  return settings;
}

std::optional<DefaultsValue> SettingsStore::stored(SettingKey key) const {
  return defaults_.object(settingOf(key).name);
}

bool SettingsStore::boolean(SettingKey key) const {
  const auto value = stored(key);
  const bool* held = value ? std::get_if<bool>(&*value) : nullptr;
  return held != nullptr ? *held : settingOf(key).fallback != 0;
}

std::optional<double> SettingsStore::number(SettingKey key) const {
  const auto value = stored(key);
  if (!value) return std::nullopt;
  if (const auto* number = std::get_if<double>(&*value)) return *number;
  if (const auto* whole = std::get_if<std::int64_t>(&*value)) return static_cast<double>(*whole);
  return std::nullopt;
}

double SettingsStore::releaseDelaySeconds() const {
  const auto value = number(SettingKey::releaseDelaySeconds);
  return value && std::isfinite(*value) ? *value : settingOf(SettingKey::releaseDelaySeconds).fallback;
}

int SettingsStore::batteryFloorPercent() const {
  const auto value = stored(SettingKey::batteryFloorPercent);
  const auto* held = value ? std::get_if<std::int64_t>(&*value) : nullptr;
  if (held == nullptr) return static_cast<int>(settingOf(SettingKey::batteryFloorPercent).fallback);
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<std::int64_t>(*held, Limits::min(), Limits::max()));
}

void SettingsStore::batteryFloorPercent(int value) {
  write(SettingKey::batteryFloorPercent, static_cast<std::int64_t>(clampedFloor(value)));
}

std::vector<std::string> SettingsStore::folders(SettingKey key) const {
  const auto value = stored(key);
  const auto* held = value ? std::get_if<std::string>(&*value) : nullptr;
  return held != nullptr ? parseFolders(*held).value_or(std::vector<std::string>{})
                         : std::vector<std::string>{};
}

std::optional<Date> SettingsStore::pauseUntil() const {
  const auto value = stored(SettingKey::pauseUntil);
  const auto* held = value ? std::get_if<Date>(&*value) : nullptr;
  return held != nullptr ? std::optional(*held) : std::nullopt;
}

void SettingsStore::pauseUntil(std::optional<Date> value) {
  write(SettingKey::pauseUntil, value ? std::optional<DefaultsValue>(*value) : std::nullopt);
}

PolicyConfiguration SettingsStore::policyConfig() const {
  PolicyConfiguration config;
  config.masterEnabled = masterEnabled();
  config.manualHoldEnabled = manualHoldEnabled();
  config.batteryFloorPercent = clampedFloor(batteryFloorPercent());  // also what was stored past this class
  config.onlyOnAC = onlyOnAC();
  config.releaseDebounceSeconds = std::max(0.0, releaseDelaySeconds());
  // What is not even a number asks for no delay.
  if (std::isnan(number(SettingKey::releaseDelaySeconds).value_or(0))) config.releaseDebounceSeconds = 0;
  config.deepLidProtectionEnabled = deepLidProtectionEnabled();
  return config;
}

void SettingsStore::resetToDefaults() {
  for (const SettingKey key :
       {SettingKey::masterEnabled, SettingKey::manualHoldEnabled, SettingKey::releaseDelaySeconds,
        SettingKey::batteryFloorPercent, SettingKey::onlyOnAC, SettingKey::deepLidProtectionEnabled,
        SettingKey::preventDisplaySleep, SettingKey::notificationsEnabled, SettingKey::soundEnabled,
        SettingKey::pauseUntil, SettingKey::hasCompletedOnboarding, SettingKey::claudeFolders,
        SettingKey::codexFolders, SettingKey::openCodeFolders})
    write(key, fallbackValue(settingOf(key)));
}

std::vector<std::string> SettingsStore::problems(const std::optional<std::string>& key) const {
  std::vector<std::string> problems;
  for (const std::string& name : defaults_.keys()) {
    if (key && *key != name) continue;
    auto problem = problemWith(name);
    if (!problem) continue;
    if (problems.size() == mostProblems) {
      problems.emplace_back("There is more of that kind.");
      break;
    }
    problems.push_back(*std::move(problem));
  }
  return problems;
}

std::optional<std::string> SettingsStore::problemWith(const std::string& name) const {
  const Setting* setting = settingNamed(name);
  if (setting == nullptr) return "\"" + name + "\" is no setting, so it has no effect." + nearestName(name);
  const auto value = stored(setting->key);
  if (value && isOfItsType(*setting, *value) && isInRange(*setting, *value)) return std::nullopt;
  return name + (value ? " = " + shown(*value) : "") + ": it takes " + setting->allowed + "; " +
         inForce(*setting) + " is in force.";
}

std::string SettingsStore::inForce(const Setting& setting) const {
  const PolicyConfiguration config = policyConfig();
  if (setting.key == SettingKey::batteryFloorPercent) return std::to_string(config.batteryFloorPercent);
  if (setting.key == SettingKey::releaseDelaySeconds) return printNumber(config.releaseDebounceSeconds);
  return print(setting);
}

std::string SettingsStore::defaultText(const Setting& setting) {
  switch (setting.type) {
    case SettingType::boolean:
      return setting.fallback != 0 ? "true" : "false";
    case SettingType::date:
    case SettingType::folders:
      return "none";
    case SettingType::integer:
    case SettingType::number:
      break;
  }
  return printNumber(setting.fallback);
}

Result<std::string, SettingError> SettingsStore::text(std::string_view name) const {
  const auto setting = find(name);
  if (!setting) return setting.error();
  return print(**setting);
}

Result<std::string, SettingError> SettingsStore::setText(std::string_view name, std::string_view text) {
  const auto setting = find(name);
  if (!setting) return setting.error();
  const bool removes = !fallbackValue(**setting) && text == "none";
  auto value = removes ? std::nullopt : parse(**setting, text);
  if (!value && !removes) {
    return SettingError{"\"" + std::string(text) + "\" is no value for " + (*setting)->name + ": it takes " +
                        (*setting)->allowed + "."};
  }
  write((*setting)->key, std::move(value));
  return print(**setting);
}

std::string SettingsStore::print(const Setting& setting) const {
  switch (setting.type) {
    case SettingType::boolean:
      return boolean(setting.key) ? "true" : "false";
    case SettingType::integer:
      return std::to_string(batteryFloorPercent());
    case SettingType::number:
      return printNumber(releaseDelaySeconds());
    case SettingType::date:
      return pauseUntil() ? pauseUntil()->iso8601() : "none";
    case SettingType::folders:
      break;
  }
  std::string joined;
  for (const auto& folder : folders(setting.key)) joined += (joined.empty() ? "" : ":") + folder;
  return joined.empty() ? "none" : joined;
}

void SettingsStore::write(SettingKey key, std::optional<DefaultsValue> value) {
  defaults_.set(settingOf(key).name, std::move(value));
  changes_.announce();
}

}  // namespace vigilo
