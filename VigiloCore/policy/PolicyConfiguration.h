#pragma once

#include <tuple>

#include "support/RecordFields.h"

namespace vigilo {

// What the wake policy takes from the settings. Its values come from SettingsStore::policyConfig.
struct PolicyConfiguration {
  bool masterEnabled = true;
  bool manualHoldEnabled = false;
  int batteryFloorPercent = 15;
  int batteryHysteresisPercent = 3;  // not a setting
  bool onlyOnAC = false;
  double releaseDebounceSeconds = 30.0;   // the setting is called releaseDelaySeconds
  double staleSessionTTLSeconds = 900.0;  // not a setting
  bool deepLidProtectionEnabled = true;

  bool operator==(const PolicyConfiguration&) const = default;
  static constexpr auto fields() {
    using C = PolicyConfiguration;
    return std::tuple{field("masterEnabled", &C::masterEnabled),
                      field("manualHoldEnabled", &C::manualHoldEnabled),
                      field("batteryFloorPercent", &C::batteryFloorPercent),
                      field("batteryHysteresisPercent", &C::batteryHysteresisPercent),
                      field("onlyOnAC", &C::onlyOnAC),
                      field("releaseDebounceSeconds", &C::releaseDebounceSeconds),
                      field("staleSessionTTLSeconds", &C::staleSessionTTLSeconds),
                      field("deepLidProtectionEnabled", &C::deepLidProtectionEnabled)};
  }
};

}  // namespace vigilo
