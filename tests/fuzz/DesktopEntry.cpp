#include "platform/linux/AutostartEntry.h"
#include "platform/linux/DesktopEntries.h"
#include "tests/fuzz/Fuzz.h"

using namespace vigilo;

VIGILO_FUZZ(text) {
  if (const auto entry = DesktopEntry::parse("id", text)) (void)entry->program();
  (void)AutostartEntry::parse(text).startsHost();
}
