#include "agents/AgentRegistry.h"

#include <utility>

#include "agents/AiderAdapter.h"
#include "agents/AntigravityAdapter.h"
#include "agents/ClaudeCodeAdapter.h"
#include "agents/CodexAdapter.h"
#include "agents/CursorAdapter.h"
#include "agents/GeminiAdapter.h"
#include "agents/OpenCodeAdapter.h"
#include "agents/WindsurfAdapter.h"

namespace vigilo {
namespace {

AgentRegistry* sharedRegistry = nullptr;

template <class... Adapters>
std::vector<AgentRegistry::Adapter> makeAdapters(const AgentSurroundings& surroundings) {
  return {std::make_shared<const Adapters>(surroundings)...};
}

std::map<AgentType, IntegrationStatus> detect(const std::vector<AgentRegistry::Adapter>& adapters) {
  std::vector<std::future<IntegrationStatus>> looks;
  for (const auto& adapter : adapters) looks.push_back(adapter->detect());
  std::map<AgentType, IntegrationStatus> statuses;
  for (std::size_t i = 0; i < adapters.size(); ++i)
    statuses.emplace(adapters[i]->agentType(), looks[i].get());
  return statuses;
}

}  // namespace

AgentRegistry* AgentRegistry::shared() {
  return sharedRegistry;
}

void AgentRegistry::installShared(AgentRegistry* registry) {
  sharedRegistry = registry;
}

void AgentRegistry::registerDefaultAdapters() {
  const auto adapters =
      makeAdapters<ClaudeCodeAdapter, CodexAdapter, GeminiAdapter, OpenCodeAdapter, AntigravityAdapter,
                   CursorAdapter, WindsurfAdapter, AiderAdapter>(surroundings_);
  const LockGuard guard(mutex_);
  for (const auto& adapter : adapters) adapters_[adapter->agentType()] = adapter;
}

AgentRegistry::Adapter AgentRegistry::adapter(AgentType agent) const {
  const LockGuard guard(mutex_);
  const auto found = adapters_.find(agent);
  return found == adapters_.end() ? nullptr : found->second;
}

std::vector<AgentRegistry::Adapter> AgentRegistry::allAdapters() const {
  std::vector<Adapter> result;
  const LockGuard guard(mutex_);
  for (const auto& entry : adapters_) result.push_back(entry.second);
  return result;
}

std::future<std::map<AgentType, IntegrationStatus>> AgentRegistry::detectAll() const {
  return std::async(std::launch::async, detect, allAdapters());
}

}  // namespace vigilo
