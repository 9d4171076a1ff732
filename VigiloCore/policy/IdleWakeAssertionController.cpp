#include "policy/IdleWakeAssertionController.h"

#include <optional>

namespace vigilo {

using enum PowerAssertionType;

bool IdleWakeAssertionController::isActive() const {
  const LockGuard guard(mutex_);
  return held_.system != 0;
}

bool IdleWakeAssertionController::acquire(const std::string& reason, bool preventDisplaySleep) {
  const LockGuard guard(mutex_);
  if (!stands(held_.system)) return exchange(reason, preventDisplaySleep);
  if (!preventDisplaySleep && held_.display == 0) return true;
  if (preventDisplaySleep && stands(held_.display)) return true;
  if (preventDisplaySleep && displayFailed_) {
    keepDisplay(assertions_->create(preventUserIdleDisplaySleep, name_));
    return true;
  }
  return exchange(reason, preventDisplaySleep);
}

void IdleWakeAssertionController::release() {
  const LockGuard guard(mutex_);
  releaseHeld();
  // The next hold tells of its own failures.
  systemFailure_.ends();
  displayFailure_.ends();
}

bool IdleWakeAssertionController::stands(std::uint32_t identifier) const {
  return identifier != 0 && assertions_->stands(identifier);
}

bool IdleWakeAssertionController::exchange(const std::string& reason, bool preventDisplaySleep) {
  name_ = "Vigilo: " + reason;
  const Created system = assertions_->create(preventUserIdleSystemSleep, name_);
  std::optional<Created> display;
  if (system && preventDisplaySleep) display = assertions_->create(preventUserIdleDisplaySleep, name_);
  releaseHeld();
  if (!system) {
    const int code = system.error().code;
    if (systemFailure_.begins(std::to_string(code)))
      log_.error("Failed to acquire PreventUserIdleSystemSleep assertion: %d", code);
    return false;
  }
  systemFailure_.ends();
  held_.system = *system;
  log_.info("Acquired PreventUserIdleSystemSleep assertion ID: %u reason: %s", held_.system, reason);
  if (display) keepDisplay(*display);
  return true;
}

void IdleWakeAssertionController::keepDisplay(const Created& display) {
  displayFailed_ = !display;
  if (display) {
    displayFailure_.ends();
    held_.display = *display;
    log_.info("Acquired PreventUserIdleDisplaySleep assertion ID: %u", held_.display);
  } else if (displayFailure_.begins(std::to_string(display.error().code))) {
    log_.error("Failed to acquire PreventUserIdleDisplaySleep assertion: %d", display.error().code);
  }
}

void IdleWakeAssertionController::releaseHeld() {
  displayFailed_ = false;
  if (held_.system != 0) {
    assertions_->release(held_.system);
    log_.info("Released PreventUserIdleSystemSleep assertion ID: %u", held_.system);
    held_.system = 0;
  }
  if (held_.display != 0) {
    assertions_->release(held_.display);
    log_.info("Released PreventUserIdleDisplaySleep assertion ID: %u", held_.display);
    held_.display = 0;
  }
}

}  // namespace vigilo
