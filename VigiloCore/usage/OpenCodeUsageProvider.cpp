#include "usage/OpenCodeUsageProvider.h"

#include "agents/AgentPlaces.h"
#include "support/Log.h"
#include "usage/OpenCodeMessages.h"

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.app", "usage.opencode"};

}  // namespace

OpenCodeUsageProvider::OpenCodeUsageProvider(const Directories& directories, Queue& queue, Clock clock)
    : PollingUsageProvider(
          AgentType::opencode, openCodeMessages(AgentPlaces::of(directories).openCodeDatabases),
          [places = AgentPlaces::of(directories).openCodeDatabases] {
            for (const auto& place : places) logger.info("OpenCodeUsageProvider active on %s", place);
          },
          queue, std::move(clock)) {}

}  // namespace vigilo
