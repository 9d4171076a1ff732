#pragma once

#include <xcb/xcb.h>
#include <xcb/xcbext.h>

namespace vigilo {

// The functions of libxcb that are used here. The library is opened when a session has an X server and not
// before, so that Vigilo installs and runs on a server without any of X; only its headers are needed to
// build. Constant once opened; any thread may use it.
struct Xcb {
  // Null where the library is not installed.
  static const Xcb* library();

  decltype(&::xcb_connect) connect;
  decltype(&::xcb_disconnect) disconnect;
  decltype(&::xcb_connection_has_error) connection_has_error;
  decltype(&::xcb_get_file_descriptor) get_file_descriptor;
  decltype(&::xcb_flush) flush;
  decltype(&::xcb_get_setup) get_setup;
  decltype(&::xcb_setup_roots_iterator) setup_roots_iterator;
  decltype(&::xcb_screen_next) screen_next;
  decltype(&::xcb_poll_for_event) poll_for_event;
  decltype(&::xcb_poll_for_reply) poll_for_reply;
  decltype(&::xcb_request_check) request_check;
  decltype(&::xcb_get_input_focus) get_input_focus;
  decltype(&::xcb_grab_key_checked) grab_key_checked;
  decltype(&::xcb_ungrab_key) ungrab_key;
  decltype(&::xcb_get_keyboard_mapping) get_keyboard_mapping;
  decltype(&::xcb_get_keyboard_mapping_keysyms) get_keyboard_mapping_keysyms;
  decltype(&::xcb_get_modifier_mapping) get_modifier_mapping;
  decltype(&::xcb_get_modifier_mapping_keycodes) get_modifier_mapping_keycodes;
};

}  // namespace vigilo
