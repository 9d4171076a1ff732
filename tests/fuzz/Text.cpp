#include "VigiloApp/commands/DurationText.h"
#include "support/Date.h"
#include "support/NormalPath.h"
#include "tests/fuzz/Fuzz.h"

using namespace vigilo;

VIGILO_FUZZ(text) {
  (void)parseDuration(text);
  (void)Date::fromIso8601(text);
  const std::string path = normalPath("/" + std::string(text));
  fuzz::require(path.starts_with('/') && normalPath(path) == path && path.find("//") == std::string::npos);
}
