#include "EventText.h"
#include "HookInput.h"
#include "agents/HookEvent.h"
#include "tests/fuzz/Fuzz.h"

using namespace vigilo;

// Whatever an agent hands to its hook, the receiver takes what the relay makes of it.
VIGILO_FUZZ(text) {
  relay::HookInput input;
  input.feed(text.substr(0, text.size() / 2));
  input.feed(text.substr(text.size() / 2));
  relay::EventText event;
  relay::writeEvent({"claude", input.sessionId(), input.type(), input.workingFolder(), 1795262400, 5}, event);
  fuzz::require(!event.isCut() && decodeHookEvent(event.view(), Date{}));
}
