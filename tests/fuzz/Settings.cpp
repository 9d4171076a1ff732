#include "platform/linux/TomlDocument.h"
#include "tests/fuzz/Fuzz.h"

using namespace vigilo;

// A value that was set reads back, and taking it out again leaves the others as they were.
VIGILO_FUZZ(text) {
  const auto document = TomlDocument::parse(std::string(text));
  if (!document) return;
  const auto changed = document->with("batteryFloorPercent", std::int64_t{20});
  if (!changed) return;
  fuzz::require(changed->values().at("batteryFloorPercent") == DefaultsValue(std::int64_t{20}));
  (void)changed->with("batteryFloorPercent", std::nullopt);
}
