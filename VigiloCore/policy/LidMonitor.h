#pragma once

#include <functional>

#include "platform/LidState.h"
#include "support/Log.h"
#include "support/Mutex.h"

namespace vigilo {

class LidMonitoring {
 public:
  using Callback = std::function<void(bool)>;

  virtual ~LidMonitoring() = default;
  virtual bool isLidClosed() const = 0;
  virtual void onLidStateChanged(Callback callback) = 0;
  virtual void start() = 0;
  virtual void stop() = 0;
  // Asks now and keeps the answer; may block for two seconds. False where there is no lid or nobody who
  // knows.
  virtual bool queryClamshellState() = 0;
};

// Remembers whether the lid was closed when it was last asked for. It neither polls nor subscribes, and it
// never calls back: whoever needs the present state queries it.
//
// Making one, `queryClamshellState` and `start` ask the machine's service and may block for two seconds: keep
// them off a queue that must not wait. Any thread may call; the lock guards the cached flag and is not held
// while the service is asked. `provider` must outlive it.
class LidMonitor final : public LidMonitoring {
 public:
  explicit LidMonitor(LidStateProvider& provider) : provider_(provider) { queryClamshellState(); }

  bool queryClamshellState() override;
  bool isLidClosed() const override;
  void onLidStateChanged(Callback callback) override;
  void start() override;
  void stop() override {}

 private:
  LidStateProvider& provider_;
  const Log log_{"com.vigilo.app", "lid"};
  mutable Mutex mutex_;
  bool isLidClosed_ VIGILO_GUARDED_BY(mutex_) = false;
  Callback callback_ VIGILO_GUARDED_BY(mutex_);
};

}  // namespace vigilo
