#include "policy/LidMonitor.h"

namespace vigilo {

bool LidMonitor::queryClamshellState() {
  const bool closed = provider_.isClamshellClosed().value_or(false);
  const LockGuard guard(mutex_);
  isLidClosed_ = closed;
  return closed;
}

bool LidMonitor::isLidClosed() const {
  const LockGuard guard(mutex_);
  return isLidClosed_;
}

void LidMonitor::onLidStateChanged(Callback callback) {
  const LockGuard guard(mutex_);
  callback_ = std::move(callback);
}

void LidMonitor::start() {
  log_.info("Lid monitor initialized (isLidClosed: %{bool}d)", queryClamshellState());
}

}  // namespace vigilo
