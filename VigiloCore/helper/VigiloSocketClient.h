#pragma once

#include <string>
#include <string_view>

#include "agents/HookEvent.h"

namespace vigilo {

// Delivers a hook event to a hook socket and forgets about it. A plain value; thread-safe.
struct VigiloSocketClient {
  std::string socketPath;

  // False when the event cannot be encoded or was not written whole. The time-out bounds connecting and
  // writing, and the wait for the acknowledgement, each; what the acknowledgement says is ignored.
  bool send(const HookEvent& event, int timeoutMs) const;
  bool sendRaw(std::string_view data, int timeoutMs) const;
};

}  // namespace vigilo
