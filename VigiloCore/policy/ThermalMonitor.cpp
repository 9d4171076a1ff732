#include "policy/ThermalMonitor.h"

namespace vigilo {

SystemThermalState ThermalMonitor::currentThermalState() const {
  const LockGuard guard(mutex_);
  return state_;
}

void ThermalMonitor::onThermalStateChanged(Callback callback) {
  const LockGuard guard(mutex_);
  callback_ = std::move(callback);
}

void ThermalMonitor::start() {
  const LockGuard guard(mutex_);
  if (observer_ != nullptr) return;
  state_ = read();
  observer_ = provider_.observe(queue_, [this] { take(read()); });
  if (observer_ != nullptr) log_.info("Thermal monitor started observing thermal state");
}

void ThermalMonitor::stop() {
  // Ended without the lock: ending may wait for a handler that needs it.
  CancelToken observer;
  {
    const LockGuard guard(mutex_);
    observer = std::move(observer_);
  }
  if (observer != nullptr) log_.info("Thermal monitor stopped");
}

void ThermalMonitor::refresh() {
  const SystemThermalState state = read();
  if (state != currentThermalState()) take(state);
}

void ThermalMonitor::take(SystemThermalState state) {
  Callback callback;
  {
    const LockGuard guard(mutex_);
    state_ = state;
    callback = callback_;
  }
  log_.info("Thermal state changed to: %s", rawValue(state));
  if (callback) callback(state);
}

}  // namespace vigilo
