#include "agents/HookEvent.h"

#include "tests/fuzz/Fuzz.h"

using namespace vigilo;

VIGILO_FUZZ(text) {
  const auto event = decodeHookEvent(text, Date{});
  if (!event) return;
  fuzz::require(!event->sessionId.empty());
  const auto encoded = encodeHookEvent(*event);
  fuzz::require(encoded && decodeHookEvent(*encoded, Date{}));
}
