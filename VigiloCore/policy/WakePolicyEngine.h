#pragma once

#include "policy/PolicyEvaluationContext.h"
#include "policy/WakeDecision.h"

namespace vigilo {

// Decides whether the machine must be kept awake, may sleep, or must be allowed to sleep for a safety reason.
// A pure function: no state, no input or output, no log; any thread may call it. Linear in the sessions.
//
// The order of the checks is the policy: the master switch, the user's pause, heat, AC-only mode and the
// battery floor each withhold protection before any wish to hold is looked at; then the manual hold, the
// working agents, and the debounce after the last of them stopped.
//
// The two pieces of memory that shape the result live with the caller: the battery latch, which makes the
// floor a band (stop at the floor, resume at floor + hysteresis), and the moment the last agent stopped.
class WakePolicyEngine {
 public:
  WakeDecision evaluate(const PolicyEvaluationContext& context) const;
};

}  // namespace vigilo
