#pragma once

#include <functional>
#include <memory>

#include "platform/KeyMonitor.h"
#include "support/Log.h"
#include "support/Queue.h"

namespace vigilo {

// Watches the keyboard for Option+Command+L (Alt+Super+L on a PC), in any application, and tells its owner to
// turn protection on or off. This process's own windows are applications as any other here: one monitor sees
// them all.
//
// Lives on the main queue, where every member is called and every callback comes; the desktop is spoken to on
// a queue of its own.
class GlobalShortcutController : public std::enable_shared_from_this<GlobalShortcutController> {
 public:
  // All must outlive the controller. `queue` is for the exchanges with the desktop, which may wait.
  static std::shared_ptr<GlobalShortcutController> create(KeyMonitor& monitor, Queue& mainQueue,
                                                          Queue& queue);

  // The instance that `main` installed, or null; asking makes nothing.
  static GlobalShortcutController* shared();
  static void installShared(GlobalShortcutController* controller);

  // Installs the monitor, in place of an earlier one.
  void start();
  void stop();
  // Whether the monitor is installed: from `start` to `stop`. Whether the desktop lets it see the keys is
  // told by `state`.
  bool isMonitoring() const { return globalMonitor_ != nullptr; }
  // What the desktop made of it, in words for people.
  const KeyMonitorState& state() const { return state_; }

  // Called when the shortcut is pressed.
  std::function<void()> onToggleRequested;

 private:
  GlobalShortcutController(KeyMonitor& monitor, Queue& mainQueue, Queue& queue);
  void pressed();
  void stateChanged(const KeyMonitorState& state);

  KeyMonitor& monitor_;
  Queue& mainQueue_;
  Queue& queue_;
  const Log log_{"com.vigilo.app", "shortcut"};
  CancelToken globalMonitor_;
  unsigned installation_ = 0;  // what an earlier monitor still has to say is not listened to
  KeyMonitorState state_;
};

}  // namespace vigilo
