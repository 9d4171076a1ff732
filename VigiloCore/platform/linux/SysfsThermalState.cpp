#include "platform/linux/SysfsThermalState.h"

#include <algorithm>
#include <chrono>

#include "platform/linux/SysfsFile.h"

namespace vigilo {
namespace {

using namespace std::chrono_literals;

// Reading a zone may run firmware: not every second.
constexpr auto pollInterval = 5s;
constexpr double sameReadingSeconds = 1;

constexpr double criticalMargin = 5, fairMargin = 5, fairMarginToCritical = 15, hysteresis = 3;
constexpr int critical = 3, serious = 2, fair = 1, nominal = 0;

std::optional<double> readCelsius(const std::string& path) {
  const auto thousandths = sysfs::readInteger(path);
  if (!thousandths || *thousandths <= 0 || *thousandths >= 200'000) return std::nullopt;
  return static_cast<double>(*thousandths) / 1000;
}

void lower(std::optional<double>& lowest, double value) {
  lowest = lowest ? std::min(*lowest, value) : value;
}

}  // namespace

SysfsThermalState::SysfsThermalState(std::string root, Clock clock)
    : root_(std::move(root)), clock_(std::move(clock)) {}

std::optional<SysfsThermalState::Zone> SysfsThermalState::readZone(const std::string& path) {
  if (sysfs::readText(path + "/mode") == "disabled") return std::nullopt;
  const auto celsius = readCelsius(path + "/temp");
  if (!celsius) return std::nullopt;
  Zone zone{path, *celsius, {}, {}};
  for (int i = 0;; ++i) {
    const std::string trip = path + "/trip_point_" + std::to_string(i);
    const auto type = sysfs::readText(trip + "_type");
    if (!type) break;
    const auto at = readCelsius(trip + "_temp");
    if (!at) continue;
    if (*type == "passive") lower(zone.passive, *at);
    if (*type == "critical" || *type == "hot") lower(zone.critical, *at);
  }
  return zone;
}

std::vector<SysfsThermalState::Zone> SysfsThermalState::readZones() const {
  std::vector<Zone> zones;
  for (const auto& path : sysfs::folders(root_ + "/class/thermal", "thermal_zone")) {
    if (auto zone = readZone(path)) zones.push_back(std::move(*zone));
  }
  return zones;
}

SysfsThermalState::Level SysfsThermalState::next(const Zone& zone, Level before) {
  const auto reaches = [&](int level, const std::optional<double>& trip, double margin) {
    const double slack = before.reported >= level ? hysteresis : 0;
    return trip && zone.celsius >= *trip - margin - slack;
  };
  int level = nominal;
  if (reaches(critical, zone.critical, criticalMargin))
    level = critical;
  else if (reaches(serious, zone.passive, 0))
    level = serious;
  else if (reaches(fair, zone.passive, fairMargin) || reaches(fair, zone.critical, fairMarginToCritical))
    level = fair;
  const bool isConfirmed = level < critical || before.sawCritical;
  return {isConfirmed ? level : serious, level == critical};
}

int SysfsThermalState::thermalState() {
  const Date now = clock_();
  {
    const LockGuard guard(mutex_);
    if (readAt_ && now - *readAt_ >= 0 && now - *readAt_ < sameReadingSeconds) return state_;
  }
  const auto zones = readZones();
  const LockGuard guard(mutex_);
  std::map<std::string, Level> levels;
  state_ = nominal;
  for (const Zone& zone : zones) {
    const Level level = next(zone, levels_[zone.path]);
    levels.emplace(zone.path, level);
    state_ = std::max(state_, level.reported);
  }
  levels_ = std::move(levels);
  readAt_ = now;
  return state_;
}

CancelToken SysfsThermalState::observe(Queue& queue, Task changed) {
  return queue.timer(pollInterval, pollInterval, [this, changed = std::move(changed)] {
    int before = nominal;
    {
      const LockGuard guard(mutex_);
      before = state_;
    }
    if (thermalState() != before) changed();
  });
}

std::string SysfsThermalState::description() const {
  const auto zones = readZones();
  const auto counts = [](const Zone& zone) { return zone.passive || zone.critical; };
  const auto count = std::count_if(zones.begin(), zones.end(), counts);
  return count == 0 ? "none (no thermal zone has trip points)" : std::to_string(count) + " thermal zones";
}

std::unique_ptr<ThermalStateProvider> makeThermalStateProvider() {
  return std::make_unique<SysfsThermalState>();
}

}  // namespace vigilo
