#include "agents/RelayMention.h"
#include "tests/fuzz/Fuzz.h"

using namespace vigilo;

VIGILO_FUZZ(text) {
  (void)relayInJsonHooks(text, JsonComments::no);
  (void)relayInJsonHooks(text, JsonComments::yes);
  (void)relayInToml(text);
  (void)relayInPlugin(text);
}
