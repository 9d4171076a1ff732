#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/linux/BusShortcuts.h"
#include "platform/linux/KeySource.h"

namespace vigilo {

// The shortcut as the desktop portal offers it to programs of a Wayland session. The desktop asks its user
// once, who may also choose other keys. Lives on its watch's queue.
class PortalShortcut final : public KeySource {
 public:
  PortalShortcut();

  int descriptor() const override;
  int process() override;
  KeyMonitorState state() const override { return state_; }
  Next next() const override { return next_; }

 private:
  using Event = bus::ShortcutsConnection::Event;

  void begin();
  std::vector<Event> received();
  bool take(const Event& event);
  void bind();
  void takeAnswer(const Event& bound);
  void set(bool isRegistered, std::string description, Next next);
  void fail(const bus::Error& error);

  std::unique_ptr<bus::ShortcutsConnection> bus_;  // null when there is none, or it is lost
  std::vector<Event> early_;                       // came while the session was asked for
  KeyMonitorState state_;
  Next next_ = Next::wait;
};

}  // namespace vigilo
