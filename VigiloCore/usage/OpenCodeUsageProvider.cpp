#include "usage/OpenCodeUsageProvider.h"

#include "support/Log.h"
#include "usage/OpenCodeMessages.h"

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.app", "usage.opencode"};

std::string databasePath(const Directories& directories) {
  return directories.home + "/.local/share/opencode/opencode.db";
}

}  // namespace

OpenCodeUsageProvider::OpenCodeUsageProvider(const Directories& directories, Queue& queue, Clock clock)
    : PollingUsageProvider(
          AgentType::opencode, openCodeMessages(databasePath(directories)),
          [path = databasePath(directories)] { logger.info("OpenCodeUsageProvider active on %s", path); },
          queue, std::move(clock)) {}

}  // namespace vigilo
