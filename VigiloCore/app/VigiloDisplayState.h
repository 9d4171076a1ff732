#pragma once

#include <optional>

#include "app/VigiloVisualState.h"
#include "policy/WakeDecision.h"

namespace vigilo {

// What one status surface shows. A plain value, compared field by field.
struct VigiloDisplayState {
  VigiloVisualState visualState{};
  int activeWorkingAgentCount = 0;   // sessions that are working or waiting
  int totalActiveSessionsCount = 0;  // all live sessions shown
  WakeDecision decision;
  std::optional<int> batteryPercent;
  bool isCharging = false;
  bool isOnAC = false;
  bool isPaused = false;  // by the user
  std::optional<double> pauseRemainingSeconds;
  bool lidHoldActive = false;  // a hold that survives a closed lid is in force
  double elapsedProtectionSeconds = 0;

  bool operator==(const VigiloDisplayState&) const = default;
};

}  // namespace vigilo
