#include "app/LaunchAtLoginController.h"

#include <atomic>

namespace vigilo {
namespace {

std::atomic<LaunchAtLoginController*> sharedController{nullptr};

}  // namespace

LaunchAtLoginController* LaunchAtLoginController::shared() {
  return sharedController;
}

void LaunchAtLoginController::installShared(LaunchAtLoginController* controller) {
  sharedController = controller;
}

std::string LaunchAtLoginController::description(LoginItemStatus status) {
  switch (status) {
    case LoginItemStatus::notRegistered:
      return "Not Registered";
    case LoginItemStatus::enabled:
      return "Enabled";
    case LoginItemStatus::requiresApproval:
      return "Requires User Approval in System Settings";
    case LoginItemStatus::notFound:
      return "App Not Found";
  }
  return "Unknown";
}

std::optional<LoginItemError> LaunchAtLoginController::update(bool enabled) {
  const LoginItemState state = item_.state();
  // What is enabled twice over is not as it should be; what is switched off or broken is there all the same.
  const bool isAsAsked = enabled ? state.status == LoginItemStatus::enabled && !state.isDoubled
                                 : state.status == LoginItemStatus::notRegistered && !state.hasRemains;
  if (isAsAsked) return std::nullopt;
  auto error = enabled ? item_.registerItem() : item_.unregisterItem();
  if (error)
    logger_.error("Failed to update launch at login: %s", error->description);
  else if (enabled)
    logger_.info("Registered launch at login");
  else
    logger_.info("Unregistered launch at login");
  return error;
}

}  // namespace vigilo
