#pragma once

#include <functional>
#include <memory>
#include <string>

#include "support/Queue.h"

namespace vigilo {

// Whether the key combination is watched for now, and in words for people how, or why not.
struct KeyMonitorState {
  bool isRegistered = false;
  std::string description;

  bool operator==(const KeyMonitorState&) const = default;
};

// Watches for Option+Command+L, which a PC's keyboard has as Alt+Super+L, in every application; also while
// further modifiers are held. The key press is swallowed. Thread-safe.
class KeyMonitor {
 public:
  virtual ~KeyMonitor() = default;

  struct Callbacks {
    Task pressed;                                       // once for each press, however long it is held
    std::function<void(const KeyMonitorState&)> state;  // first of all, and whenever it has changed
  };

  // Watches until the token is destroyed; a later watch on the same queue begins after the end of an earlier
  // one. A desktop that ends, hangs or is not there yet is tried again for as long as the watch lasts.
  //
  // All exchanges with the desktop, each at most two seconds long, and all callbacks happen on `queue`, which
  // must run until the token is gone and everything that waits on it then is done. The token may be destroyed
  // on any thread: that waits for nothing, and a callback that is running may still finish.
  [[nodiscard]] virtual CancelToken watch(Queue& queue, Callbacks callbacks) = 0;
};

// The monitor of the session that this process's environment tells of.
std::unique_ptr<KeyMonitor> makeKeyMonitor();

}  // namespace vigilo
