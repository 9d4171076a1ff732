#include "policy/BatteryMonitor.h"

#include <algorithm>
#include <limits>

namespace vigilo {
namespace {

std::optional<int> percent(const PowerSourceDescription& source) {
  const std::int64_t full = source.maxCapacity.value_or(100);
  if (!source.currentCapacity || full < 1) return std::nullopt;
  // Multiplied first: 57 of 100 is 57, where 57 / 100 * 100 is 56.
  const double value = static_cast<double>(*source.currentCapacity) * 100.0 / static_cast<double>(full);
  constexpr double most = std::numeric_limits<int>::max();
  return static_cast<int>(std::clamp(value, -most, most));
}

std::optional<int> minutes(const PowerSourceDescription& source) {
  if (source.timeToEmpty.value_or(0) < 1) return std::nullopt;
  return static_cast<int>(std::min<std::int64_t>(*source.timeToEmpty, std::numeric_limits<int>::max()));
}

// What of a source can be read at all; the first such source counts.
PowerSourceDescription firstReadable(const std::vector<PowerSourceDescription>& sources) {
  const auto found = std::find_if(sources.begin(), sources.end(),
                                  [](const auto& source) { return source != PowerSourceDescription{}; });
  return found == sources.end() ? PowerSourceDescription{} : *found;
}

}  // namespace

BatteryMonitor::BatteryMonitor(PowerSourceProvider& provider, Queue& queue, Clock clock)
    : provider_(provider), queue_(queue), clock_(std::move(clock)) {}

PowerSourceSnapshot BatteryMonitor::queryPowerSource() {
  const auto sources = provider_.copyPowerSources();
  Reading reading{firstReadable(sources), provider_.isLowPowerModeEnabled(), clock_()};
  const LockGuard guard(mutex_);
  sawBattery_ = sawBattery_ || std::ranges::any_of(sources, &PowerSourceDescription::isBattery);
  latest_ = std::move(reading);
  if (latest_.source.powerSourceState && percent(latest_.source)) lastComplete_ = latest_;
  return interpret();
}

PowerSourceSnapshot BatteryMonitor::currentSnapshot() const {
  const LockGuard guard(mutex_);
  return interpret();
}

PowerSourceSnapshot BatteryMonitor::interpret() const {
  if (!sawBattery_) return PowerSourceSnapshot::desktopDefault();
  PowerSourceDescription source = latest_.source;
  if (lastComplete_) {
    // A clock that was set back leaves no way to tell the age: the reading is taken as old.
    const double age = clock_() - lastComplete_->at;
    const PowerSourceDescription& last = lastComplete_->source;
    if (age >= 0 && age < keepsReadingSeconds) {
      if (!source.powerSourceState) source.powerSourceState = last.powerSourceState;
      if (!source.isCharging) source.isCharging = last.isCharging;
      if (!percent(source)) {
        source.currentCapacity = last.currentCapacity;
        source.maxCapacity = last.maxCapacity;
      }
    }
  }
  PowerSourceSnapshot snapshot;
  snapshot.batteryPercent = percent(source);
  snapshot.isCharging = source.isCharging.value_or(false);
  snapshot.isOnAC = source.powerSourceState == "AC Power";
  snapshot.isLowPowerMode = latest_.isLowPowerMode;
  snapshot.timeRemainingMinutes = minutes(source);
  return snapshot;
}

void BatteryMonitor::onPowerSourceChanged(Callback callback) {
  const LockGuard guard(mutex_);
  callback_ = std::move(callback);
}

void BatteryMonitor::start() {
  {
    const LockGuard guard(mutex_);
    if (source_ == nullptr) {
      source_ = provider_.observe(queue_, [this] { announce(queryPowerSource()); });
      if (source_ != nullptr) log_.info("Battery monitor started observing power sources");
    }
  }
  queryPowerSource();
}

void BatteryMonitor::stop() {
  // Ended without the lock: ending may wait for a handler that needs it.
  CancelToken source;
  {
    const LockGuard guard(mutex_);
    source = std::move(source_);
  }
  if (source != nullptr) log_.info("Battery monitor stopped");
}

void BatteryMonitor::refresh() {
  const PowerSourceSnapshot before = currentSnapshot();
  const PowerSourceSnapshot now = queryPowerSource();
  if (now != before) announce(now);
}

void BatteryMonitor::announce(const PowerSourceSnapshot& snapshot) {
  log_.debug("Power source changed: isOnAC=%{bool}d percent=%ld%%", snapshot.isOnAC,
             snapshot.batteryPercent.value_or(-1));
  Callback callback;
  {
    const LockGuard guard(mutex_);
    callback = callback_;
  }
  if (callback) callback(snapshot);
}

}  // namespace vigilo
