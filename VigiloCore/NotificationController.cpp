#include "NotificationController.h"

#include <atomic>
#include <utility>

namespace vigilo {
namespace {

constexpr const char* chime = "Hero";

std::atomic<NotificationController*> sharedController{nullptr};

}  // namespace

std::shared_ptr<NotificationController> NotificationController::create(const Parts& parts) {
  return std::shared_ptr<NotificationController>(new NotificationController(parts));
}

NotificationController* NotificationController::shared() {
  return sharedController;
}

void NotificationController::installShared(NotificationController* controller) {
  sharedController = controller;
}

void NotificationController::requestAuthorization() {
  parts_.queue.async([weak = weak_from_this()] {
    const auto self = weak.lock();
    if (self == nullptr) return;
    const auto granted = self->parts_.service.requestAuthorization();
    if (granted) {
      self->requestFailure_.ends();
      self->notePermission(*granted);
    } else if (self->requestFailure_.begins(granted.error().description)) {
      self->log_.error("Notification permission error: %s", granted.error().description);
    }
  });
}

void NotificationController::notifyProtectionStarted(int agentCount) {
  notify({.identifier = "vigilo.started",
          .title = "Vigilo is protecting this Mac",
          .body = std::to_string(agentCount) + " coding agent session" + (agentCount == 1 ? "" : "s") +
                  " working."});
}

void NotificationController::notifyBatteryCutoff(int percent) {
  notify({.identifier = "vigilo.battery",
          .title = "Battery limit reached",
          .body = "Vigilo released sleep protection at " + std::to_string(percent) + "%.",
          .urgent = true});
}

void NotificationController::notifyThermalCutoff() {
  notify({.identifier = "vigilo.thermal",
          .title = "Thermal safety cutoff",
          .body = "Vigilo released sleep protection so macOS can cool down normally.",
          .urgent = true});
}

void NotificationController::notifyProtectionFinished() {
  notify({.identifier = "vigilo.finished",
          .title = "Coding agents finished",
          .body = "Normal sleep behavior has been restored."});
}

void NotificationController::notify(UserNotification notification) {
  if (!parts_.settings.notificationsEnabled()) return;
  {
    const LockGuard guard(mutex_);
    std::erase_if(waiting_,
                  [&](const auto& earlier) { return earlier.identifier == notification.identifier; });
    waiting_.push_back(std::move(notification));
  }
  parts_.queue.async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->showNext();
  });
}

void NotificationController::showNext() {
  UserNotification notification;
  {
    const LockGuard guard(mutex_);
    if (waiting_.empty()) return;  // a later one took the place of what this task was added for
    notification = std::move(waiting_.front());
    waiting_.pop_front();
  }
  // Two sounds at once are one too many.
  notification.silent = parts_.settings.soundEnabled() && chimeIsHeard_;
  post(notification);
  playChime();
}

void NotificationController::post(const UserNotification& notification) {
  const auto posted = parts_.service.post(notification);
  if (posted) {
    postFailure_.ends();
    notePermission(*posted);
  } else if (postFailure_.begins(posted.error().description)) {
    log_.error("Failed to post notification: %s", posted.error().description);
  }
}

void NotificationController::playChime() {
  if (!parts_.settings.soundEnabled()) return;
  chimeIsHeard_ = parts_.sounds.play(chime);
  if (!chimeIsHeard_) parts_.sounds.beep();
}

// A service that comes or goes while the host runs is a new answer to the question of the start.
void NotificationController::notePermission(bool granted) {
  if (std::exchange(granted_, granted) != granted)
    log_.info("Notification permission granted: %{bool}d", granted);
}

}  // namespace vigilo
