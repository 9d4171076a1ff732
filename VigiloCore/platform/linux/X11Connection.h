#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/ShortcutKey.h"
#include "platform/linux/Xcb.h"
#include "support/Result.h"

namespace vigilo {

// A connection to the X server, on which every wait has an end. Not thread-safe.
class X11Connection {
 public:
  struct Problem {
    std::string description;  // for people
  };

  // `display` is written as in $DISPLAY. Only servers of this machine are connected to: keys of a far screen
  // are no business of this host, and it makes no network connections.
  static Result<std::unique_ptr<X11Connection>, Problem> open(const std::string& display);
  ~X11Connection();

  int descriptor() const;
  bool isBroken() const;
  // The next event that has come, without waiting; released with std::free.
  struct Free {
    void operator()(void* memory) const;
  };
  std::unique_ptr<xcb_generic_event_t, Free> nextEvent();

  // Absent when the server does not answer in time.
  std::optional<KeyboardMap> keyboardMap();

  enum class Grab { done, refused, noAnswer };
  // Asks for the key with each of the sets on every screen. The result is that of the first set; the others
  // may be refused by themselves.
  Grab grabKey(std::uint8_t keycode, const std::vector<std::uint16_t>& modifierSets);
  // Gives back every grab; the server has done so when this returns, unless it does not answer.
  void ungrabKeys();

 private:
  X11Connection(const Xcb& xcb, xcb_connection_t* connection) : xcb_(xcb), connection_(connection) {}
  template <class Reply>
  std::unique_ptr<Reply, Free> await(unsigned sequence);
  bool synchronize();
  std::vector<xcb_window_t> roots() const;

  const Xcb& xcb_;
  xcb_connection_t* const connection_;
};

}  // namespace vigilo
