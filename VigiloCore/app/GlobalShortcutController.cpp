#include "app/GlobalShortcutController.h"

#include <atomic>
#include <utility>

namespace vigilo {
namespace {

std::atomic<GlobalShortcutController*> installed{nullptr};

const KeyMonitorState notStarted{false, "not watched"};

}  // namespace

std::shared_ptr<GlobalShortcutController> GlobalShortcutController::create(KeyMonitor& monitor,
                                                                           Queue& mainQueue, Queue& queue) {
  return std::shared_ptr<GlobalShortcutController>(new GlobalShortcutController(monitor, mainQueue, queue));
}

GlobalShortcutController::GlobalShortcutController(KeyMonitor& monitor, Queue& mainQueue, Queue& queue)
    : monitor_(monitor), mainQueue_(mainQueue), queue_(queue), state_(notStarted) {}

GlobalShortcutController* GlobalShortcutController::shared() {
  return installed;
}

void GlobalShortcutController::installShared(GlobalShortcutController* controller) {
  installed = controller;
}

void GlobalShortcutController::start() {
  stop();
  state_ = {false, "the desktop has not answered yet"};
  const auto onMain = [weak = weak_from_this(), &main = mainQueue_, number = installation_](auto work) {
    main.async([weak, number, work = std::move(work)] {
      const auto self = weak.lock();
      if (self != nullptr && self->isMonitoring() && self->installation_ == number) work(*self);
    });
  };
  globalMonitor_ = monitor_.watch(
      queue_, {.pressed = [onMain] { onMain([](GlobalShortcutController& self) { self.pressed(); }); },
               .state =
                   [onMain](const KeyMonitorState& state) {
                     onMain([state](GlobalShortcutController& self) { self.stateChanged(state); });
                   }});
}

void GlobalShortcutController::stop() {
  globalMonitor_.reset();
  ++installation_;
  state_ = notStarted;
}

void GlobalShortcutController::pressed() {
  log_.info("Global shortcut Option+Command+L triggered");
  if (onToggleRequested) onToggleRequested();
}

void GlobalShortcutController::stateChanged(const KeyMonitorState& state) {
  state_ = state;
  if (state.isRegistered)
    log_.info("Global shortcut monitor registered for Option+Command+L");
  else
    log_.info("Global shortcut Option+Command+L is not available: %s", state.description);
}

}  // namespace vigilo
