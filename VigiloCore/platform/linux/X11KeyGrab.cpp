#include "platform/linux/X11KeyGrab.h"

#include <utility>

namespace vigilo {

X11KeyGrab::X11KeyGrab(const std::string& display) {
  auto connection = X11Connection::open(display);
  if (connection) {
    connection_ = *std::move(connection);
    grab();
  } else {
    fail(connection.error().description);
  }
}

X11KeyGrab::~X11KeyGrab() {
  // Another grab may be asked for right after this one, on a connection of its own.
  if (connection_ != nullptr && !connection_->isBroken()) connection_->ungrabKeys();
}

int X11KeyGrab::descriptor() const {
  return connection_ == nullptr || connection_->isBroken() ? -1 : connection_->descriptor();
}

void X11KeyGrab::grab() {
  const auto map = connection_->keyboardMap();
  if (!map) return fail("the X server does not answer");
  const auto key = shortcutKey(*map);
  if (key && key_ == key && state_.isRegistered) return;
  if (std::exchange(key_, key)) connection_->ungrabKeys();
  if (!key) return fail("this keyboard does not tell Alt from Super");
  switch (connection_->grabKey(key->keycode, withAnyOtherModifiers(key->modifiers))) {
    case X11Connection::Grab::done:
      state_ = {true, "Alt+Super+L, through the X server"};
      break;
    case X11Connection::Grab::refused:
      fail("another program has taken Alt+Super+L");
      break;
    case X11Connection::Grab::noAnswer:
      fail("the X server does not answer");
      break;
  }
}

int X11KeyGrab::process() {
  if (connection_ == nullptr) return 0;
  int presses = 0;
  // To the end each time: what was read along with a reply does not make the descriptor readable.
  do {
    keyboardHasChanged_ = false;
    while (const auto event = connection_->nextEvent()) presses += isPress(*event) ? 1 : 0;
    // A changed keyboard is told by several events, and grabbed anew once.
    if (keyboardHasChanged_) grab();
  } while (keyboardHasChanged_);
  if (connection_->isBroken()) fail("the X server has ended");
  return presses;
}

// Whether the event is a press by hand. A key that is held down repeats as a release and a press of the same
// time.
bool X11KeyGrab::isPress(const xcb_generic_event_t& event) {
  const int type = event.response_type & 0x7f;
  if (type == XCB_MAPPING_NOTIFY) {
    const auto& change = reinterpret_cast<const xcb_mapping_notify_event_t&>(event);
    keyboardHasChanged_ = keyboardHasChanged_ || change.request != XCB_MAPPING_POINTER;
    return false;
  }
  if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE) return false;
  const auto& key = reinterpret_cast<const xcb_key_press_event_t&>(event);
  if (!key_ || key.detail != key_->keycode) return false;
  if (type == XCB_KEY_RELEASE) {
    lastRelease_ = key.time;
    return false;
  }
  return lastRelease_ != key.time;
}

}  // namespace vigilo
