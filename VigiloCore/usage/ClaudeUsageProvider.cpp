#include "usage/ClaudeUsageProvider.h"

#include "support/Log.h"
#include "usage/ClaudeProjectLogs.h"

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.app", "usage.claude"};

std::string projectsFolder(const Directories& directories) {
  return directories.home + "/.claude/projects";
}

}  // namespace

ClaudeUsageProvider::ClaudeUsageProvider(const Directories& directories, Queue& queue, Clock clock)
    : PollingUsageProvider(
          AgentType::claude, claudeProjectLogs(projectsFolder(directories)),
          [folder = projectsFolder(directories)] { logger.info("ClaudeUsageProvider active on %s", folder); },
          queue, std::move(clock)) {}

}  // namespace vigilo
