#include "platform/Directories.h"

#include <cstdlib>

#include "support/HomeFolder.h"

namespace vigilo {

Directories Directories::below(const std::string& home) {
  Directories result;
  result.home = home;
  result.library = home + "/Library";
  result.applicationSupport = result.library + "/Application Support";
  result.preferences = result.library + "/Preferences";
  const char* temporary = std::getenv("TMPDIR");
  result.temporary = temporary != nullptr && temporary[0] == '/' ? temporary : "/tmp";
  while (result.temporary.size() > 1 && result.temporary.back() == '/') result.temporary.pop_back();
  return result;
}

Directories Directories::ofCurrentUser() {
  return below(homeFolder());
}

}  // namespace vigilo
