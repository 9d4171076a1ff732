#include "usage/CodexUsageProvider.h"

#include "support/Log.h"
#include "usage/CodexRollouts.h"

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.app", "usage.codex"};

std::string sessionsFolder(const Directories& directories) {
  return directories.home + "/.codex/sessions";
}

}  // namespace

CodexUsageProvider::CodexUsageProvider(const Directories& directories, Queue& queue, Clock clock)
    : PollingUsageProvider(
          AgentType::codex, codexRollouts(sessionsFolder(directories)),
          [folder = sessionsFolder(directories)] {
            logger.info("CodexUsageProvider started watching %s", folder);
          },
          queue, std::move(clock)) {}

}  // namespace vigilo
