#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/ThermalState.h"
#include "support/Date.h"
#include "support/Mutex.h"

namespace vigilo {

// The thermal pressure as the kernel's thermal zones and their trip points tell; the worst zone counts.
//
//   critical (3)  from 5 °C below the critical or hot trip, in two readings in a row, since sensors spike
//   serious (2)   from the passive trip, where modern laptops sit under any long load
//   fair (1)      from 5 °C below the passive trip, or from 15 °C below the critical one
//
// A zone comes down from a level only 3 °C below its limit. Temperatures and trips that no machine has, and
// zones that cannot be read or are switched off, do not count.
//
// While observed, the zones are read every 5 s on the observer's queue. Readings closer together than a
// second are one. Any thread may call; the lock guards the levels and is not held while files are read.
// `root` stands for /sys.
class SysfsThermalState final : public ThermalStateProvider {
 public:
  explicit SysfsThermalState(std::string root = "/sys", Clock clock = Date::now);

  int thermalState() override;
  CancelToken observe(Queue& queue, Task changed) override;
  std::string description() const override;

 private:
  struct Zone {
    std::string path;
    double celsius = 0;
    std::optional<double> passive, critical;  // the lowest trip of its kind
  };
  struct Level {
    int reported = 0;
    bool sawCritical = false;  // in the last reading
  };

  std::vector<Zone> readZones() const;
  static std::optional<Zone> readZone(const std::string& path);
  static Level next(const Zone& zone, Level before);

  const std::string root_;
  const Clock clock_;
  Mutex mutex_;
  std::optional<Date> readAt_ VIGILO_GUARDED_BY(mutex_);
  std::map<std::string, Level> levels_ VIGILO_GUARDED_BY(mutex_);  // by the zone's path
  int state_ VIGILO_GUARDED_BY(mutex_) = 0;
};

}  // namespace vigilo
