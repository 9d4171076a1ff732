#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/linux/KeySource.h"
#include "platform/linux/X11Connection.h"

namespace vigilo {

// The shortcut as a passive grab on an X server: the server sends the key here, whichever window has the
// focus, and to nobody else. Lives on its watch's queue.
class X11KeyGrab final : public KeySource {
 public:
  explicit X11KeyGrab(const std::string& display);
  ~X11KeyGrab() override;

  int descriptor() const override;
  int process() override;
  KeyMonitorState state() const override { return state_; }
  Next next() const override { return state_.isRegistered ? Next::wait : Next::retryLater; }

 private:
  void grab();
  void fail(std::string why) { state_ = {false, std::move(why)}; }
  bool isPress(const xcb_generic_event_t& event);

  std::unique_ptr<X11Connection> connection_;  // null when it could not be made
  KeyMonitorState state_;
  bool keyboardHasChanged_ = false;
  std::optional<ShortcutKey> key_;  // what is grabbed
  std::optional<xcb_timestamp_t> lastRelease_;
};

}  // namespace vigilo
