#include "usage/ClaudeUsageProvider.h"

#include "agents/AgentPlaces.h"
#include "support/Log.h"
#include "usage/ClaudeProjectLogs.h"

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.app", "usage.claude"};

}  // namespace

ClaudeUsageProvider::ClaudeUsageProvider(const Directories& directories, Queue& queue, Clock clock)
    : PollingUsageProvider(
          AgentType::claude, claudeProjectLogs(AgentPlaces::of(directories).claudeProjects),
          [places = AgentPlaces::of(directories).claudeProjects] {
            for (const auto& place : places) logger.info("ClaudeUsageProvider active on %s", place);
          },
          queue, std::move(clock)) {}

}  // namespace vigilo
