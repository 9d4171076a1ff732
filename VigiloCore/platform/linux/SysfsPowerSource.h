#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/PowerSource.h"
#include "support/AsioQueue.h"
#include "support/Mutex.h"

namespace vigilo {

// The kernel's power supplies, all batteries taken as one source. Batteries of mice and headsets do not
// count; an uninterruptible power supply is a battery.
//
// `observe` tells of the kernel's events for power supplies, once more a second later, since the files of the
// battery and of the supply may not agree at first, and every 30 s besides, since some batteries change
// without an event.
//
// The power profile is asked from a service on the system bus, which may take seconds: that runs on a queue
// of this object's own, and `isLowPowerModeEnabled` answers from the last reading (every 30 s while
// observed), or from the firmware's profile file where no service has answered.
//
// Any thread may call; the lock guards the profile. `root` stands for /sys; kernel events are taken only for
// /sys itself.
class SysfsPowerSource final : public PowerSourceProvider {
 public:
  // Asks for the active power profile; blocks. Absent without an answer.
  using ProfileReader = std::function<std::optional<std::string>()>;

  explicit SysfsPowerSource(std::string root = "/sys", ProfileReader readProfile = nullptr);

  std::vector<PowerSourceDescription> copyPowerSources() override;
  bool isLowPowerModeEnabled() override;
  CancelToken observe(Queue& queue, Task changed) override;

 private:
  struct Profile {
    Mutex mutex;
    std::optional<std::string> active VIGILO_GUARDED_BY(mutex);
  };
  class Observation;

  const std::string root_;
  const ProfileReader readProfile_;
  const std::shared_ptr<Profile> profile_ = std::make_shared<Profile>();
  // Null without a reader. Last, so that it ends first.
  const std::unique_ptr<AsioQueue> profileQueue_;
};

}  // namespace vigilo
