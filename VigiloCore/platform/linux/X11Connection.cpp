#include "platform/linux/X11Connection.h"

#include <poll.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <string_view>

#include "support/UnixSocket.h"

namespace vigilo {
namespace {

constexpr int answerLimitMs = 2000;

// 3 for ":3", "unix:3" and ":3.1"; absent for a display of another machine.
std::optional<int> localDisplayNumber(std::string_view display) {
  const auto colon = display.rfind(':');
  if (colon == std::string_view::npos) return std::nullopt;
  if (const auto host = display.substr(0, colon); !host.empty() && host != "unix") return std::nullopt;
  int number = 0;
  const auto* first = display.data() + colon + 1;
  const auto* last = display.data() + display.size();
  const auto parsed = std::from_chars(first, last, number);
  if (parsed.ec != std::errc() || number < 0 || (parsed.ptr != last && *parsed.ptr != '.'))
    return std::nullopt;
  return number;
}

// Whether the server listens and serves. The library would wait for a server that hangs without end. A server
// closes at once what begins with an unknown byte order, and notes nothing of it.
std::optional<X11Connection::Problem> problemOfServer(int number) {
  const auto address = unixSocketAddress("/tmp/.X11-unix/X" + std::to_string(number));
  const UniqueFd probe = makeUnixSocket();
  setSocketTimeouts(probe.get(), answerLimitMs);
  if (!probe || ::connect(probe.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
    return X11Connection::Problem{"no X server runs on display :" + std::to_string(number)};
  }
  const char noSetup[12] = {};
  char answer = 0;
  (void)sendOnce(probe.get(), {noSetup, sizeof noSetup});
  // A server that is just ending tells the library so.
  if (::recv(probe.get(), &answer, 1, 0) < 0 && errno == EAGAIN)
    return X11Connection::Problem{"the X server does not answer"};
  return std::nullopt;
}

}  // namespace

void X11Connection::Free::operator()(void* memory) const {
  std::free(memory);
}

Result<std::unique_ptr<X11Connection>, X11Connection::Problem> X11Connection::open(
    const std::string& display) {
  const auto number = localDisplayNumber(display);
  if (!number) return Problem{"the display " + display + " is not on this machine"};
  const Xcb* xcb = Xcb::library();
  if (xcb == nullptr) return Problem{"libxcb is not installed (package libxcb1)"};
  if (auto problem = problemOfServer(*number)) return *problem;
  xcb_connection_t* connection = xcb->connect(display.c_str(), nullptr);
  std::unique_ptr<X11Connection> opened(new X11Connection(*xcb, connection));
  if (opened->isBroken()) return Problem{"the X server refuses the connection"};
  return opened;
}

X11Connection::~X11Connection() {
  xcb_.disconnect(connection_);
}

int X11Connection::descriptor() const {
  return xcb_.get_file_descriptor(connection_);
}

bool X11Connection::isBroken() const {
  return xcb_.connection_has_error(connection_) != 0;
}

std::unique_ptr<xcb_generic_event_t, X11Connection::Free> X11Connection::nextEvent() {
  return std::unique_ptr<xcb_generic_event_t, Free>(xcb_.poll_for_event(connection_));
}

// Null when the request failed, or was not answered in time.
template <class Reply>
std::unique_ptr<Reply, X11Connection::Free> X11Connection::await(unsigned sequence) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(answerLimitMs);
  xcb_.flush(connection_);
  for (;;) {
    void* reply = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (xcb_.poll_for_reply(connection_, sequence, &reply, &error) != 0) {
      std::free(error);
      return std::unique_ptr<Reply, Free>(static_cast<Reply*>(reply));
    }
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(limit - std::chrono::steady_clock::now());
    if (left.count() <= 0) return nullptr;
    pollfd socket{descriptor(), POLLIN, 0};
    ::poll(&socket, 1, static_cast<int>(left.count()));
  }
}

// Waits until the server has handled every request so far.
bool X11Connection::synchronize() {
  return await<xcb_get_input_focus_reply_t>(xcb_.get_input_focus(connection_).sequence) != nullptr;
}

std::vector<xcb_window_t> X11Connection::roots() const {
  std::vector<xcb_window_t> windows;
  auto screens = xcb_.setup_roots_iterator(xcb_.get_setup(connection_));
  for (; screens.rem > 0; xcb_.screen_next(&screens)) windows.push_back(screens.data->root);
  return windows;
}

std::optional<KeyboardMap> X11Connection::keyboardMap() {
  const xcb_setup_t& setup = *xcb_.get_setup(connection_);
  const auto keys = xcb_.get_keyboard_mapping(
      connection_, setup.min_keycode, static_cast<std::uint8_t>(setup.max_keycode - setup.min_keycode + 1));
  const auto modifiers = xcb_.get_modifier_mapping(connection_);
  const auto keyReply = await<xcb_get_keyboard_mapping_reply_t>(keys.sequence);
  if (keyReply == nullptr) return std::nullopt;
  const auto modifierReply = await<xcb_get_modifier_mapping_reply_t>(modifiers.sequence);
  if (modifierReply == nullptr) return std::nullopt;
  const xcb_keysym_t* symbols = xcb_.get_keyboard_mapping_keysyms(keyReply.get());
  const xcb_keycode_t* modifierKeys = xcb_.get_modifier_mapping_keycodes(modifierReply.get());
  return KeyboardMap{.firstKeycode = setup.min_keycode,
                     .symbolsPerKey = keyReply->keysyms_per_keycode,
                     .symbols = {symbols, symbols + keyReply->length},
                     .keysPerModifier = modifierReply->keycodes_per_modifier,
                     .modifierKeys = {modifierKeys, modifierKeys + 8 * modifierReply->keycodes_per_modifier}};
}

X11Connection::Grab X11Connection::grabKey(std::uint8_t keycode,
                                           const std::vector<std::uint16_t>& modifierSets) {
  std::vector<xcb_void_cookie_t> requests;
  const auto screens = roots();
  for (const std::uint16_t modifiers : modifierSets) {
    for (const xcb_window_t root : screens) {
      requests.push_back(xcb_.grab_key_checked(connection_, 1, root, modifiers, keycode, XCB_GRAB_MODE_ASYNC,
                                               XCB_GRAB_MODE_ASYNC));
    }
  }
  if (!synchronize()) return Grab::noAnswer;
  // Answered by now, each by itself: this waits for nothing.
  Grab result = Grab::done;
  for (std::size_t i = 0; i < requests.size(); ++i) {
    xcb_generic_error_t* error = xcb_.request_check(connection_, requests[i]);
    if (error != nullptr && i < screens.size()) result = Grab::refused;
    std::free(error);
  }
  return isBroken() ? Grab::noAnswer : result;
}

void X11Connection::ungrabKeys() {
  for (const xcb_window_t root : roots()) {
    xcb_.ungrab_key(connection_, XCB_GRAB_ANY, root, XCB_MOD_MASK_ANY);
  }
  (void)synchronize();
}

}  // namespace vigilo
