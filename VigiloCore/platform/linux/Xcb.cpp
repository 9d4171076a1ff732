#include "platform/linux/Xcb.h"

#include <dlfcn.h>

#include <optional>

namespace vigilo {
namespace {

template <class Function>
bool find(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(::dlsym(library, name));
  return function != nullptr;
}

std::optional<Xcb> open() {
  void* library = ::dlopen("libxcb.so.1", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return std::nullopt;
  Xcb xcb{};
  const bool isComplete =
      find(library, "xcb_connect", xcb.connect) && find(library, "xcb_disconnect", xcb.disconnect) &&
      find(library, "xcb_connection_has_error", xcb.connection_has_error) &&
      find(library, "xcb_get_file_descriptor", xcb.get_file_descriptor) &&
      find(library, "xcb_flush", xcb.flush) && find(library, "xcb_get_setup", xcb.get_setup) &&
      find(library, "xcb_setup_roots_iterator", xcb.setup_roots_iterator) &&
      find(library, "xcb_screen_next", xcb.screen_next) &&
      find(library, "xcb_poll_for_event", xcb.poll_for_event) &&
      find(library, "xcb_poll_for_reply", xcb.poll_for_reply) &&
      find(library, "xcb_request_check", xcb.request_check) &&
      find(library, "xcb_get_input_focus", xcb.get_input_focus) &&
      find(library, "xcb_grab_key_checked", xcb.grab_key_checked) &&
      find(library, "xcb_ungrab_key", xcb.ungrab_key) &&
      find(library, "xcb_get_keyboard_mapping", xcb.get_keyboard_mapping) &&
      find(library, "xcb_get_keyboard_mapping_keysyms", xcb.get_keyboard_mapping_keysyms) &&
      find(library, "xcb_get_modifier_mapping", xcb.get_modifier_mapping) &&
      find(library, "xcb_get_modifier_mapping_keycodes", xcb.get_modifier_mapping_keycodes);
  return isComplete ? std::optional(xcb) : std::nullopt;
}

}  // namespace

const Xcb* Xcb::library() {
  static const std::optional<Xcb> opened = open();
  return opened ? &*opened : nullptr;
}

}  // namespace vigilo
