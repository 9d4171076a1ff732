#include "usage/CodexUsageProvider.h"

#include "agents/AgentPlaces.h"
#include "support/Log.h"
#include "usage/CodexRollouts.h"

namespace vigilo {
namespace {

constexpr Log logger{"com.vigilo.app", "usage.codex"};

}  // namespace

CodexUsageProvider::CodexUsageProvider(const Directories& directories, Queue& queue, Clock clock)
    : PollingUsageProvider(
          AgentType::codex, codexRollouts(AgentPlaces::of(directories).codexSessions),
          [places = AgentPlaces::of(directories).codexSessions] {
            for (const auto& place : places) logger.info("CodexUsageProvider started watching %s", place);
          },
          queue, std::move(clock)) {}

}  // namespace vigilo
