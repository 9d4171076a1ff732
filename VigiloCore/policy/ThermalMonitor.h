#pragma once

#include <functional>

#include "platform/ThermalState.h"
#include "support/Log.h"
#include "support/Mutex.h"
#include "support/Queue.h"

namespace vigilo {

class ThermalMonitoring {
 public:
  using Callback = std::function<void(SystemThermalState)>;

  virtual ~ThermalMonitoring() = default;
  virtual SystemThermalState currentThermalState() const = 0;
  virtual void onThermalStateChanged(Callback callback) = 0;
  virtual void start() = 0;
  virtual void stop() = 0;
  // For the time after a suspend: reads again, and tells when it differs. Call it on the monitor's queue.
  virtual void refresh() = 0;
};

// Keeps the machine's thermal pressure at hand and tells when the platform reports a change.
//
// The callback runs on the queue, with no lock held, at every report of the platform and at a `refresh` that
// found a change. Any thread may call; the lock guards the cache. Destroy it on the queue or after the queue
// has ended; `provider` and `queue` must outlive it.
class ThermalMonitor final : public ThermalMonitoring {
 public:
  ThermalMonitor(ThermalStateProvider& provider, Queue& queue) : provider_(provider), queue_(queue) {}
  ~ThermalMonitor() override { stop(); }

  SystemThermalState currentThermalState() const override;
  void onThermalStateChanged(Callback callback) override;
  void start() override;
  void stop() override;
  void refresh() override;

 private:
  SystemThermalState read() const { return fromProcessInfoThermalState(provider_.thermalState()); }
  void take(SystemThermalState state);

  ThermalStateProvider& provider_;
  Queue& queue_;
  const Log log_{"com.vigilo.app", "thermal"};
  mutable Mutex mutex_;
  CancelToken observer_ VIGILO_GUARDED_BY(mutex_);
  Callback callback_ VIGILO_GUARDED_BY(mutex_);
  SystemThermalState state_ VIGILO_GUARDED_BY(mutex_) = SystemThermalState::nominal;
};

}  // namespace vigilo
