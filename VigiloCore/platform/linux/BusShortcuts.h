#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/Bus.h"

namespace vigilo::bus {

// A connection to the session bus, and the desktop portal's global shortcuts there.
//
// Typical flow: `registerApplication`, `createSession`, and, once the event `sessionCreated` has come,
// `bindShortcut`. The desktop may then ask its user; the answer is the event `bound`, after which `activated`
// comes with each press. The portal forgets all of it when this object goes.
//
// Each call is synchronous and ends within two seconds. Events, and the loss of the connection, are known
// once `process` was called: after every call and when `descriptor` is readable. Not thread-safe.
class ShortcutsConnection {
 public:
  struct Shortcut {
    std::string id;
    std::string description;       // for people
    std::string preferredTrigger;  // "ALT+LOGO+l"; the desktop and its user may choose another
  };

  struct Event {
    enum class Kind {
      sessionCreated,  // text: the session
      bound,           // text: the keys in the desktop's words
      activated,       // text: the shortcut's id
      sessionClosed,
      serviceChanged,  // text: who provides the portal now; empty when nobody does
    } kind;
    // Of sessionCreated and bound: 0 done, 1 declined by the user, anything else failed.
    std::uint32_t response = 0;
    std::string text;
  };

  static Result<std::unique_ptr<ShortcutsConnection>, Error> open();
  ~ShortcutsConnection();

  int descriptor() const;
  // What has come since the last call, in order; absent when the connection is lost.
  std::optional<std::vector<Event>> process();

  // Tells the portal which desktop entry this process belongs to. Older portals do not know the question.
  std::optional<Error> registerApplication(const std::string& desktopEntry);
  std::optional<Error> createSession();
  std::optional<Error> bindShortcut(const Shortcut& shortcut);

 private:
  struct Bus;
  explicit ShortcutsConnection(std::unique_ptr<Bus> bus);
  const std::unique_ptr<Bus> bus_;
};

}  // namespace vigilo::bus
