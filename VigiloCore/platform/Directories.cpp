#include "platform/Directories.h"

#include <cstdlib>

#include "support/HomeFolder.h"
#include "support/NormalPath.h"

namespace vigilo {

Directories Directories::below(const std::string& home) {
  Directories result;
  result.home = normalPath(home);
  result.library = result.atHome("/Library");
  result.applicationSupport = result.library + "/Application Support";
  result.preferences = result.library + "/Preferences";
  const char* temporary = std::getenv("TMPDIR");
  result.temporary = normalPath(temporary != nullptr && temporary[0] == '/' ? temporary : "/tmp");
  return result;
}

Directories Directories::ofCurrentUser() {
  return below(homeFolder());
}

}  // namespace vigilo
