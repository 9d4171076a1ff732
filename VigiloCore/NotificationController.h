#pragma once

#include <deque>
#include <memory>
#include <optional>

#include "platform/SystemSounds.h"
#include "platform/UserNotifications.h"
#include "policy/SettingsStore.h"
#include "support/Log.h"
#include "support/Mutex.h"
#include "support/Queue.h"

namespace vigilo {

// Tells the user when protection starts, when it ends as usual, and when a safety cutoff ends it, with a
// banner and a chime. Both obey the settings: without `notificationsEnabled` there is neither, without
// `soundEnabled` no chime, and the banner comes with the service's own sound in its place.
//
// Every operation returns at once and may be called from any thread; banners and chimes happen on the
// controller's own queue, which may wait for their services. While a notice waits there, one of the same kind
// takes its place, so that a service that hangs never has more than one of each before it. Queue, settings,
// service and sounds must outlive the queue's last task.
class NotificationController final : public std::enable_shared_from_this<NotificationController> {
 public:
  struct Parts {
    Queue& queue;  // "com.vigilo.notifications"
    SettingsStore& settings;
    UserNotifications& service;
    SystemSounds& sounds;
  };
  static std::shared_ptr<NotificationController> create(const Parts& parts);

  // What `main` installed, null before.
  static NotificationController* shared();
  static void installShared(NotificationController* controller);

  // Asks whether notices may be shown, and logs the answer.
  void requestAuthorization();

  void notifyProtectionStarted(int agentCount);
  void notifyBatteryCutoff(int percent);
  void notifyThermalCutoff();
  void notifyProtectionFinished();

 private:
  explicit NotificationController(const Parts& parts) : parts_(parts) {}
  void notify(UserNotification notification);
  // The rest runs on the queue.
  void showNext();
  void post(const UserNotification& notification);
  void playChime();
  void notePermission(bool granted);

  const Parts parts_;
  const Log log_{"com.vigilo.app", "notifications"};

  Mutex mutex_;
  std::deque<UserNotification> waiting_ VIGILO_GUARDED_BY(mutex_);

  // On the queue only.
  std::optional<bool> granted_;  // as it was logged last
  bool chimeIsHeard_ = true;     // unless it was not, the last time
  FailureEpisode requestFailure_;
  FailureEpisode postFailure_;
};

}  // namespace vigilo
