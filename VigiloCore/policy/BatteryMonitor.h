#pragma once

#include <functional>
#include <optional>

#include "platform/PowerSource.h"
#include "support/Date.h"
#include "support/Log.h"
#include "support/Mutex.h"
#include "support/Queue.h"

namespace vigilo {

class BatteryMonitoring {
 public:
  using Callback = std::function<void(const PowerSourceSnapshot&)>;

  virtual ~BatteryMonitoring() = default;
  virtual PowerSourceSnapshot currentSnapshot() const = 0;
  virtual void onPowerSourceChanged(Callback callback) = 0;
  virtual void start() = 0;
  virtual void stop() = 0;
  // For the time after a suspend: reads again, and tells when something differs. Call it on the monitor's
  // queue.
  virtual void refresh() = 0;
};

// Turns the machine's power source into the snapshot that the wake policy understands, and tells when it may
// have changed.
//
// A machine counts as a desktop only as long as no battery was ever seen. Once one was, what cannot be read
// of it keeps its last value for `keepsReadingSeconds`, so that a driver that stumbles neither stops nor
// lifts a safety block; after that the charge is unknown, and it reads as not on AC unless the mains can be
// read: a battery that was taken out blocks nothing on mains.
//
// The callback runs on the queue, with no lock held, at every event of the platform, changed or not, and at a
// `refresh` that found a change. Any thread may call; the lock guards the cache. Destroy it on the queue or
// after the queue has ended; `provider` and `queue` must outlive it.
class BatteryMonitor final : public BatteryMonitoring {
 public:
  static constexpr double keepsReadingSeconds = 60;

  BatteryMonitor(PowerSourceProvider& provider, Queue& queue, Clock clock);
  ~BatteryMonitor() override { stop(); }

  // Reads the platform now and keeps the result as the current snapshot. Well below a millisecond.
  PowerSourceSnapshot queryPowerSource();
  PowerSourceSnapshot currentSnapshot() const override;
  void onPowerSourceChanged(Callback callback) override;
  // Observes the platform unless it does so already; refreshes the snapshot in either case.
  void start() override;
  void stop() override;
  void refresh() override;

 private:
  struct Reading {
    PowerSourceDescription source;
    bool isLowPowerMode = false;
    Date at;
  };

  PowerSourceSnapshot interpret() const VIGILO_REQUIRES(mutex_);
  void announce(const PowerSourceSnapshot& snapshot);

  PowerSourceProvider& provider_;
  Queue& queue_;
  const Clock clock_;
  const Log log_{"com.vigilo.app", "battery"};
  mutable Mutex mutex_;
  CancelToken source_ VIGILO_GUARDED_BY(mutex_);
  Callback callback_ VIGILO_GUARDED_BY(mutex_);
  bool sawBattery_ VIGILO_GUARDED_BY(mutex_) = false;
  Reading latest_ VIGILO_GUARDED_BY(mutex_);                       // with whatever it lacks
  std::optional<Reading> lastComplete_ VIGILO_GUARDED_BY(mutex_);  // the last one that lacked nothing
};

}  // namespace vigilo
