#pragma once

#include "agents/HookEvent.h"

namespace vigilo {

// Told of each event that arrives at the hook socket, on the receiver's queue.
class HookEventReceiverDelegate {
 public:
  virtual ~HookEventReceiverDelegate() = default;
  virtual void didReceiveHookEvent(const HookEvent& event) = 0;
};

}  // namespace vigilo
