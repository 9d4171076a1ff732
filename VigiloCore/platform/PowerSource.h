#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "support/Queue.h"
#include "support/RecordFields.h"

namespace vigilo {

// What the wake policy knows about the machine's power.
struct PowerSourceSnapshot {
  std::optional<int> batteryPercent;  // absent without a battery or a reading of it
  bool isCharging = false;
  bool isOnAC = false;
  bool isLowPowerMode = false;
  std::optional<int> timeRemainingMinutes;  // to empty; absent unless a positive estimate exists

  // A machine without any battery.
  static PowerSourceSnapshot desktopDefault();

  bool operator==(const PowerSourceSnapshot&) const = default;
  static constexpr auto fields() {
    return std::tuple{field("batteryPercent", &PowerSourceSnapshot::batteryPercent),
                      field("isCharging", &PowerSourceSnapshot::isCharging),
                      field("isOnAC", &PowerSourceSnapshot::isOnAC),
                      field("isLowPowerMode", &PowerSourceSnapshot::isLowPowerMode),
                      field("timeRemainingMinutes", &PowerSourceSnapshot::timeRemainingMinutes)};
  }
};

// One power source in the platform's words. What could not be read is absent.
struct PowerSourceDescription {
  std::optional<std::string> powerSourceState;  // "AC Power" or "Battery Power"
  std::optional<bool> isCharging;
  std::optional<std::int64_t> currentCapacity;  // in the unit of maxCapacity
  std::optional<std::int64_t> maxCapacity;
  std::optional<std::int64_t> timeToEmpty;  // minutes
  bool isBattery = true;                    // false: the mains alone, where no battery is listed

  bool operator==(const PowerSourceDescription&) const = default;
};

// Reads the machine's power sources and tells when they may have changed. Thread-safe.
class PowerSourceProvider {
 public:
  virtual ~PowerSourceProvider() = default;
  // The batteries, those that are there but cannot be read included. Without one, the mains where they can be
  // read as connected, else nothing. Takes well below a millisecond.
  virtual std::vector<PowerSourceDescription> copyPowerSources() = 0;
  virtual bool isLowPowerModeEnabled() = 0;
  // Calls `changed` on the queue whenever a reading may differ, also when it does not. Null when it cannot.
  [[nodiscard]] virtual CancelToken observe(Queue& queue, Task changed) = 0;
};

std::unique_ptr<PowerSourceProvider> makePowerSourceProvider();

}  // namespace vigilo
